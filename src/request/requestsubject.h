#ifndef QUORVA_REQUEST_REQUESTSUBJECT_H
#define QUORVA_REQUEST_REQUESTSUBJECT_H

#include <QString>

struct BDBRequest;

/** The subject of a request for reports; for a batch or a Commit, its first item. */
struct RequestSubject {
    QString table; // or the directory, if the request is for one
    QString keys;  // as SlowRequests::keysText() makes them; empty if it names none
};

namespace Requests {

/**
 * Reads the subject of a request from its body, whose text must still be there; members that an operation has taken
 * from the parsed body do not matter. Costs as much as parsing it. For a body above 1 MiB, reads only the table.
 */
RequestSubject subjectOf(const BDBRequest& request);

} // namespace Requests

#endif
