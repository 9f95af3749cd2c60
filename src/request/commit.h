#ifndef QUORVA_REQUEST_COMMIT_H
#define QUORVA_REQUEST_COMMIT_H

struct BDBRequest;

namespace Requests {

/**
 * Writes items of one environment in one transaction, provided that they, and others, are as the client has read them;
 * otherwise writes nothing. Reads the parsed body, fills the reply, returns the request's status.
 */
[[nodiscard]] int commit(BDBRequest& request);

} // namespace Requests

#endif
