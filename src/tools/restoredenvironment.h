#ifndef QUORVA_TOOLS_RESTOREDENVIRONMENT_H
#define QUORVA_TOOLS_RESTOREDENVIRONMENT_H

#include <cstdint>
#include <ctime>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace Ctl {

/**
 * Work on an environment directory that no server has open; a DB_CONFIG in it has no effect. Those that return a string
 * return an empty one or what went wrong, without saying in which directory; they end early when an Interruption is
 * requested.
 */

/** What the log files of a directory say before recovery applies them. */
struct LogFacts {
    std::optional<std::uint32_t> partial;  // the number of the first log file that ends before the next one begins
    std::optional<std::time_t> lastCommit; // nothing when the log holds no commit
    std::uint64_t end = 0;                 // where the records of the last log file end, in bytes
    std::uint64_t fullSize = 0;            // the size at which Berkeley DB began the next one
};

/** More than the largest record has: one with several pages of 64 KB. */
inline constexpr std::uint64_t LargestRecord = 512UL * 1024;

/** Reads every record. What Berkeley DB takes for the end of the log need not be the end of the last file. */
[[nodiscard]] std::string readLog(const std::filesystem::path& home, LogFacts* facts);

/** Applies the whole log to the database files, as after the loss of a disk. */
[[nodiscard]] std::string recoverEnvironment(const std::filesystem::path& home);

/** The database files, by their names relative to the directory, which may have directories in them. In order. */
std::vector<std::filesystem::path> databaseFiles(const std::filesystem::path& home);

/** Checks the structure of every database file; `progress` is called before each. */
[[nodiscard]] std::string verifyDatabases(const std::filesystem::path& home,
                                          const std::function<void(std::size_t done, std::size_t all)>& progress);

/** Counts the items of each table, by the name of the table's file. */
[[nodiscard]] std::string countItems(const std::filesystem::path& home, std::map<std::string, long long>* items);

} // namespace Ctl

#endif
