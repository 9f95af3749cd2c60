#ifndef QUORVA_REQUEST_ITEMOPS_H
#define QUORVA_REQUEST_ITEMOPS_H

#include "records/requestcontext.h"

/** The operations on one item. Each reads the parsed body, fills the reply and returns the request's status. */

[[nodiscard]] int putItem(BDBRequest& request);
[[nodiscard]] int getItem(BDBRequest& request);
[[nodiscard]] int deleteItem(BDBRequest& request);
[[nodiscard]] int updateItem(BDBRequest& request);

#endif
