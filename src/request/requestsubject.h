#ifndef QUORVA_REQUEST_REQUESTSUBJECT_H
#define QUORVA_REQUEST_REQUESTSUBJECT_H

#include <QString>

struct BDBRequest;

/** What a request is about, as reports tell it: of a batch or a Commit its first item. */
struct RequestSubject {
    QString table; // of a request for a directory that
    QString keys;  // as SlowRequests::keysText() makes them; empty if it names none
};

namespace Requests {

/**
 * Reads the subject of a request from its body, whose text must still be there; what an operation has taken out of the
 * parsed body does not matter. Costs as much as parsing it. Nothing of a body above 1 MiB but the table.
 */
RequestSubject subjectOf(const BDBRequest& request);

} // namespace Requests

#endif
