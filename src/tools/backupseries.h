#ifndef QUORVA_TOOLS_BACKUPSERIES_H
#define QUORVA_TOOLS_BACKUPSERIES_H

#include "tools/backupfiles.h"

#include <ctime>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/**
 * A directory of dated copies of one environment, as "backup nightly" makes them:
 *
 *     2026-11-21T031500Z             a copy and the log files that were shipped after it, until the next one was made
 *     2026-11-21T031500Z.verified    says that this copy has been restored once, and what it contained
 *     2026-11-22T031500Z
 *     removing-2026-11-15T031500Z    a copy that is being removed
 *     verifying                      the restore that verifies a copy, removed afterwards
 *
 * Together they contain the whole log since the oldest copy: what one lacks is in a later one. Functions that return a
 * string return an empty one, or an error message.
 */
namespace BackupSeries {

struct Copy {
    std::filesystem::path path;
    bool isComplete = false; // false also while it is being made
    bool isVerified = false;
};
using Copies = std::vector<Copy>; // the oldest first

/** The name of a copy that begins at `time`. Names sort by time; in UTC, no hour occurs twice. */
std::string copyName(std::time_t time);
/** The time in the name of a copy; nothing for any other name. */
std::optional<std::time_t> timeOfCopy(std::string_view name);

/** The file that says that a copy is verified. */
std::filesystem::path verificationNote(const std::filesystem::path& copy);

inline constexpr const char* RemovalPrefix = "removing-";
inline constexpr const char* VerificationDirectory = "verifying";

/** Whether a directory has dated copies, and is not a copy itself. */
bool isOne(const std::filesystem::path& directory);

/**
 * Why `directory` is neither a copy nor a series, if it is a directory of several series, as given to the option --to
 * of "backup nightly"; the text lists them. An empty string for any other directory.
 */
[[nodiscard]] std::string refusal(const std::filesystem::path& directory);

/** Reads a directory with dated copies. */
[[nodiscard]] std::string read(const std::filesystem::path& directory, Copies* copies);

/**
 * What to restore from `directory`, which is a copy, or a series: of that, the newest copy whose end is not after
 * `until`, with the log files of all later ones. One that is verified comes before one that is not.
 */
[[nodiscard]] std::string choose(const std::filesystem::path& directory, std::optional<std::time_t> until,
                                 Ctl::BackupParts* parts);

} // namespace BackupSeries

#endif
