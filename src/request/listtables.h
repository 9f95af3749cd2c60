#ifndef QUORVA_REQUEST_LISTTABLES_H
#define QUORVA_REQUEST_LISTTABLES_H

struct BDBRequest;

namespace Requests {

/**
 * The tables of a directory, which need not be open and is not opened. Reads the parsed body, fills the reply, returns
 * the request's status.
 */
[[nodiscard]] int listTables(BDBRequest& request);

} // namespace Requests

#endif
