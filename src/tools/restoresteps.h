#ifndef QUORVA_TOOLS_RESTORESTEPS_H
#define QUORVA_TOOLS_RESTORESTEPS_H

#include "tools/backupfiles.h"
#include "tools/logscan.h"
#include "tools/restoredlog.h"
#include "tools/restoretarget.h"

#include <cstddef>
#include <ctime>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>

namespace Ctl {

/** Callbacks that show the progress of a restore. Both must be set. */
struct RestoreProgress {
    std::function<void(const char* step, std::size_t done, std::size_t all)> show;
    /** Called before a message is printed, and after the last step. */
    std::function<void()> end;
};

/** How to restore a backup. */
struct RestoreWish {
    UnlistedCopy unlisted = UnlistedCopy::Refused;
    /** Omits the first commit after the copy that is later, and all that follow it. Empty: the whole log. */
    std::optional<std::time_t> until;
};

/**
 * Creates an environment directory from a backup directory, which is not changed: copies the log files, checks that
 * they can be applied, copies the databases, runs recovery, verifies every file, and counts the items. Only then does
 * the target get its name (see RestoreTarget). Ends early when an Interruption is requested.
 *
 * Functions that return a string return an empty one, or an error message.
 */
class RestoreSteps {
public:
    RestoreSteps(BackupParts backup, const std::filesystem::path& target, const RestoreWish& wish,
                 RestoreProgress progress);

    /** Performs all steps. Reports files that are skipped or truncated. Call once. */
    [[nodiscard]] std::string run();

    /** After run(): the number of items of each table. */
    const std::map<std::string, long long>& items() const { return items_; }

    /** After run(): facts about the log. */
    const LogFacts& log() const { return log_; }

private:
    std::string fill();
    std::string copy(const BackupFile& file, const std::string& name);
    std::string copyLogs();
    std::string checkLogs();
    std::string checkLastLog();
    std::string cutLog();
    std::string removeLogFrom(const LogScan::Position& cut);
    std::string copyDatabases();
    std::string recover();
    std::string verify();
    std::string count();
    std::string ofBackup(const std::string& error) const;
    const std::filesystem::path& home() const { return target_.workDirectory(); }

    const BackupParts parts_;
    const std::filesystem::path& backup_; // the copy
    const std::filesystem::path given_;   // the target, as in messages
    const RestoreWish wish_;
    const RestoreProgress progress_;
    RestoreTarget target_;
    BackupFiles files_;
    LogFacts log_;
    std::map<std::string, long long> items_; // by table
    std::size_t copied_ = 0;                 // files
};

} // namespace Ctl

#endif
