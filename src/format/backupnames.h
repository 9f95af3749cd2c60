#ifndef QUORVA_FORMAT_BACKUPNAMES_H
#define QUORVA_FORMAT_BACKUPNAMES_H

#include <cstdint>
#include <optional>
#include <string_view>

/**
 * The names in a backup directory, for the server that writes them and the tool that restores them. Log files have the
 * names that they have in an environment (logfiles.h). On disk, do not change. Pure; any thread.
 *
 *     BackupInProgress.tmp          made by whoever asks for a full backup, deleted by the server when that is complete
 *     BackupFiles.list              what the copy consists of (backuplist.h); written when all of it is on disk
 *     BackupFiles.list.tmp          the same of a copy that is being made: it names all databases that it may have
 *     BackupFiles.list.new          either of them while it is written
 *     log.0000000041                log files of the copy, beside the database files
 *     __log__/log.0000000042        log files that were shipped afterwards
 *     __log__/log.0000000042.del    the previous copy of one while it is being replaced
 */
namespace BackupNames {

inline constexpr const char* Marker = "BackupInProgress.tmp";
inline constexpr const char* ListFile = "BackupFiles.list";
inline constexpr const char* UnfinishedListFile = "BackupFiles.list.tmp";
inline constexpr const char* ListDraft = "BackupFiles.list.new";
inline constexpr const char* LogDirectory = "__log__";
inline constexpr std::string_view ReplacedSuffix = ".del";

/** The number of a log file in the log directory, also of a previous copy of one; nothing for any other name. */
std::optional<std::uint32_t> shippedLogNumber(std::string_view name);

/** True for the names of a backup's own files and directory. */
bool isReserved(std::string_view name);

} // namespace BackupNames

#endif
