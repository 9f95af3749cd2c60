#ifndef QUORVA_TOOLS_LOGSCAN_H
#define QUORVA_TOOLS_LOGSCAN_H

#include "format/logrecords.h"

#include <cstdint>
#include <ctime>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string_view>

/**
 * Reads log files without Berkeley DB, which opens them for writing, and only as a complete set. Checks that each
 * record refers to the one before it, but not the checksums. Read-only; also for files that are still being written.
 */
namespace LogScan {

/** A place in a log. Its order is that of the log. */
struct Position {
    std::uint32_t file = 0;
    std::uint64_t offset = 0;
    auto operator<=>(const Position&) const = default;
};

/** One log file, as far as it can be read. */
struct File {
    std::uint32_t previous = 0; // where the last record of the file before it begins
    std::uint32_t last = 0;     // where its own last record begins
    std::uint64_t end = 0;      // where its records end; 0: it is not a log file
    bool isFollowedBy(const File& next) const { return end != 0 && next.end != 0 && next.previous == last; }
};

/** Called with the offset of each record and the first bytes of its content; LogRecords interprets them. */
using Visit = std::function<void(std::uint64_t offset, std::string_view content)>;

/** Returns 0 or an errno value. */
[[nodiscard]] int read(const std::filesystem::path& path, const Visit& visit, File* file);

/** The commits in a log around two limits. */
struct Commits {
    std::optional<std::time_t> latest;       // the latest time of all of them
    std::optional<std::time_t> latestInCopy; // of those before the end of the copy
    std::optional<std::time_t> latestKept;   // of those before `cut`
    std::optional<Position> cut;             // the first one after the copy that is later than the requested time
};

/** Finds the commits around `endOfCopy` and around `until`, the requested time, in log files by number and without a
 * gap. A clock that was set back gives a commit an earlier time than those before it: `cut` is the first one that is
 * later than `until`, so that the log up to there is the state of one instant. Returns 0 or an errno value, with
 * `failed` set.
 */
[[nodiscard]] int readCommits(const std::map<std::uint32_t, std::filesystem::path>& logs, const Position& endOfCopy,
                              std::optional<std::time_t> until, Commits* commits, std::filesystem::path* failed);

} // namespace LogScan

#endif
