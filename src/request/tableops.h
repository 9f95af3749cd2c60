#ifndef QUORVA_REQUEST_TABLEOPS_H
#define QUORVA_REQUEST_TABLEOPS_H

struct BDBRequest;

/** The operations on tables. Each reads the parsed body, fills the reply and returns the request's status. */

namespace Requests {

[[nodiscard]] int createTable(BDBRequest& request);
[[nodiscard]] int describeTable(BDBRequest& request);

/** Closes and forgets the table's environment; no file is removed. */
[[nodiscard]] int deleteTable(BDBRequest& request);

/** Stores nothing; carries the administrative actions of adminops.h in its "ProvisionedThroughput". */
[[nodiscard]] int updateTable(BDBRequest& request);

} // namespace Requests

#endif
