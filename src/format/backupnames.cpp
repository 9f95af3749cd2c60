#include "format/backupnames.h"

#include "format/logfiles.h"

namespace BackupNames {

bool isReserved(std::string_view name)
{
    return name == Marker || name == ListFile || name == UnfinishedListFile || name == ListDraft ||
           name == LogDirectory;
}

std::optional<std::uint32_t> shippedLogNumber(std::string_view name)
{
    if (name.ends_with(ReplacedSuffix))
        name.remove_suffix(ReplacedSuffix.size());
    return LogFiles::numberOf(name);
}

} // namespace BackupNames
