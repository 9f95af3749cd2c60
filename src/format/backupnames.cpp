#include "format/backupnames.h"

#include "format/logfiles.h"

namespace BackupNames {

const char* refusal(std::string_view name)
{
    const bool isReserved = name == Marker || name == ListFile || name == UnfinishedListFile || name == ListDraft ||
                            name == LogDirectory || name == HoldFile || name == HoldDraft;
    return isReserved ? "BackupInProgress.tmp, BackupFiles.list (also with .tmp or .new), BackupLog.hold (also with "
                        ".new) and __log__ belong to backups"
                      : nullptr;
}

std::optional<std::uint32_t> shippedLogNumber(std::string_view name)
{
    if (name.ends_with(ReplacedSuffix))
        name.remove_suffix(ReplacedSuffix.size());
    return LogFiles::numberOf(name);
}

} // namespace BackupNames
