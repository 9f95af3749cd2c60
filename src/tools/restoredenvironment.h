#ifndef QUORVA_TOOLS_RESTOREDENVIRONMENT_H
#define QUORVA_TOOLS_RESTOREDENVIRONMENT_H

#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace Ctl {

/** Work on an environment directory that no server has open. All return an empty string or what went wrong. */

/** Applies the whole log to the database files, as after the loss of a disk. */
[[nodiscard]] std::string recoverEnvironment(const std::filesystem::path& home);

/** The database files of a directory: all files but the logs. */
std::vector<std::filesystem::path> databaseFiles(const std::filesystem::path& home);

/** Checks the structure of every database file; `progress` is called before each. */
[[nodiscard]] std::string verifyDatabases(const std::filesystem::path& home,
                                          const std::function<void(std::size_t done, std::size_t all)>& progress);

/** Counts the items of each table, by the name of the table's file. */
[[nodiscard]] std::string countItems(const std::filesystem::path& home, std::map<std::string, long long>* items);

} // namespace Ctl

#endif
