#ifndef QUORVA_REQUEST_SPACEOPS_H
#define QUORVA_REQUEST_SPACEOPS_H

struct BDBRequest;

/**
 * The operations that free disk space. None of them is part of the API. Each reads the parsed body, fills the reply and
 * returns the request's status.
 */
namespace Requests {

/** Removes the table: its description, its items and their files. StatusNotFound: there is no file of it. */
[[nodiscard]] int dropTable(BDBRequest& request);

/** Removes the table's items and their files. StatusNotFound: there is no file of the table. */
[[nodiscard]] int truncateTable(BDBRequest& request);

/** Frees the space of deleted items in a part of one data file. */
[[nodiscard]] int compactTable(BDBRequest& request);

} // namespace Requests

#endif
