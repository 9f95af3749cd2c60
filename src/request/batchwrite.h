#ifndef QUORVA_REQUEST_BATCHWRITE_H
#define QUORVA_REQUEST_BATCHWRITE_H

struct BDBRequest;

namespace Requests {

/**
 * Puts and deletes for one or more tables of one environment, applied atomically in one transaction. Tables of another
 * environment are returned in "UnprocessedItems". Reads the parsed body, fills the reply, returns the status.
 */
[[nodiscard]] int batchWriteItem(BDBRequest& request);

} // namespace Requests

#endif
