#ifndef QUORVA_REQUEST_SCANQUERY_H
#define QUORVA_REQUEST_SCANQUERY_H

struct BDBRequest;

/** The operations that return many items. Each reads the parsed body, fills the reply, returns the request's status. */

namespace Requests {

/** Walks the partitions of a table in order, a page at a time. */
[[nodiscard]] int scanTable(BDBRequest& request);

/** Walks the items of one hash key, a page at a time. */
[[nodiscard]] int queryTable(BDBRequest& request);

} // namespace Requests

#endif
