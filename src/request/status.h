#ifndef QUORVA_REQUEST_STATUS_H
#define QUORVA_REQUEST_STATUS_H

struct BDBRequest;

namespace Requests {

/** Reports what the server is doing and has done since it started. Fills the reply. */
[[nodiscard]] int status(BDBRequest& request);

} // namespace Requests

#endif
