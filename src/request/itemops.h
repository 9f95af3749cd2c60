#ifndef QUORVA_REQUEST_ITEMOPS_H
#define QUORVA_REQUEST_ITEMOPS_H

struct BDBRequest;

/** The operations on one item. Each reads the parsed body, fills the reply and returns the request's status. */

namespace Requests {

[[nodiscard]] int putItem(BDBRequest& request);
[[nodiscard]] int getItem(BDBRequest& request);
[[nodiscard]] int deleteItem(BDBRequest& request);
[[nodiscard]] int updateItem(BDBRequest& request);

} // namespace Requests

#endif
