#ifndef QUORVA_API_DIRECTORYLIST_H
#define QUORVA_API_DIRECTORYLIST_H

#include "api/error.h"
#include "api/server.h"

#include <string>
#include <string_view>
#include <vector>

/** The tables in a directory, as the server finds them. */
namespace Api::DirectoryList {

struct Entry {
    std::string table;   // without the directory
    long long files = 0; // a table that has never had an item has one
    long long bytes = 0;
    bool isDescribed = false; // false: there is no table, only data files with its name
};

/**
 * Reads the list. A description that is not yet in the files, because the server ended soon after a table was made, is
 * missing while the directory is not open. Fails with resourceNotFound() when there is no such directory.
 */
[[nodiscard]] Failure read(const Server& server, std::string_view directory, std::vector<Entry>* entries);

/** The same, but opens the directory first, so that no description is missing. */
[[nodiscard]] Failure readOpen(const Server& server, std::string_view directory, std::vector<Entry>* entries);

/** The canonical path of a directory, one for all spellings. Fails likewise. */
[[nodiscard]] Failure findPath(const Server& server, std::string_view directory, std::string* path);

/** The entry of a table, by its real name; empty `table` if there is none. */
[[nodiscard]] Failure find(const Server& server, std::string_view realName, Entry* entry);

} // namespace Api::DirectoryList

#endif
