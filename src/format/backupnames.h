#ifndef QUORVA_FORMAT_BACKUPNAMES_H
#define QUORVA_FORMAT_BACKUPNAMES_H

#include <cstdint>
#include <optional>
#include <string_view>

/**
 * The names in a backup directory, and those that a backup uses in an environment, for the server that writes it and
 * the tool that restores it. Log files have the same names as in an environment (logfiles.h). On disk, do not change.
 * Pure; any thread.
 *
 *     BackupInProgress.tmp          created by the client of a full backup, deleted by the server on completion
 *     BackupFiles.list              the files of the copy (backuplist.h); written when all of them are on disk
 *     BackupFiles.list.tmp          the same for a copy in progress: it names all databases that the copy may contain
 *     BackupFiles.list.new          either list while it is being written
 *     BackupLog.hold                in an environment: the target of the backup that its log files are kept for
 *     BackupLog.hold.new            the same while it is being written
 *     log.0000000041                log files of the copy, next to the database files
 *     __log__/log.0000000042        log files shipped afterwards
 *     __log__/log.0000000042.del    the previous copy of one while it is being replaced
 */
namespace BackupNames {

inline constexpr const char* Marker = "BackupInProgress.tmp";
inline constexpr const char* ListFile = "BackupFiles.list";
inline constexpr const char* UnfinishedListFile = "BackupFiles.list.tmp";
inline constexpr const char* ListDraft = "BackupFiles.list.new";
inline constexpr const char* HoldFile = "BackupLog.hold";
inline constexpr const char* HoldDraft = "BackupLog.hold.new";
inline constexpr const char* LogDirectory = "__log__";
inline constexpr std::string_view ReplacedSuffix = ".del";

/** The number of a log file, or of a previous copy of one, in the log directory; nothing for any other name. */
std::optional<std::uint32_t> shippedLogNumber(std::string_view name);

/** The reason why no table can have this name, as in tablename.h: a backup has it. nullptr for any other name. */
const char* refusal(std::string_view name);

} // namespace BackupNames

#endif
