#ifndef QUORVA_TOOLS_RESTOREDLOG_H
#define QUORVA_TOOLS_RESTOREDLOG_H

#include <cstdint>
#include <ctime>
#include <filesystem>
#include <optional>
#include <string>

namespace Ctl {

/** What the log files of a directory contain before recovery applies them. */
struct LogFacts {
    std::optional<std::uint32_t> partial;  // the number of the first log file that ends before the next one begins
    std::optional<std::time_t> lastCommit; // empty when the log has no commit
    std::uint64_t end = 0;                 // where the records of the last log file end, in bytes
    std::uint64_t fullSize = 0;            // the size at which Berkeley DB began the next one
};

/**
 * Reads every record of the log in a directory that no server has open. What Berkeley DB treats as the end of the log
 * need not be the end of the last file. Returns an empty string, or an error message that does not name the directory;
 * ends early when an Interruption is requested.
 */
[[nodiscard]] std::string readLog(const std::filesystem::path& home, LogFacts* facts);

} // namespace Ctl

#endif
