#ifndef QUORVA_TOOLS_RESTOREDENVIRONMENT_H
#define QUORVA_TOOLS_RESTOREDENVIRONMENT_H

#include <cstddef>
#include <filesystem>
#include <functional>
#include <map>
#include <string>

namespace Ctl {

/**
 * Operations on an environment directory that no server has open; a DB_CONFIG in it has no effect. Functions that
 * return a string return an empty one, or an error message that does not name the directory; they end early when an
 * Interruption is requested.
 */

/** Applies the whole log, whose files are in `logs`, to the database files, as after the loss of a disk. */
[[nodiscard]] std::string recoverEnvironment(const std::filesystem::path& home, const std::filesystem::path& logs);

/** Checks the structure of every database file; `progress` is called before each. */
[[nodiscard]] std::string verifyDatabases(const std::filesystem::path& home,
                                          const std::function<void(std::size_t done, std::size_t all)>& progress);

/** Counts the items of each table, keyed by the name of the table's file. */
[[nodiscard]] std::string countItems(const std::filesystem::path& home, std::map<std::string, long long>* items);

} // namespace Ctl

#endif
