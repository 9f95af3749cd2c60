#include "tools/backuplogs.h"

#include "base/directoryentries.h"
#include "format/backupnames.h"
#include "format/logfiles.h"

#include <cerrno>
#include <system_error>

namespace fs = std::filesystem;

namespace Ctl {

std::uintmax_t sizeOf(const fs::path& file)
{
    std::error_code error;
    const auto size = fs::file_size(file, error);
    return error ? 0 : size;
}

int addLogsOf(const fs::path& copy, std::map<std::uint32_t, fs::path>* logs)
{
    const auto add = [logs](std::uint32_t number, const fs::path& path) {
        const auto [entry, isNew] = logs->emplace(number, path);
        if (!isNew && sizeOf(path) > sizeOf(entry->second))
            entry->second = path;
        return 0;
    };
    const int rc = Base::forEachEntry(copy, [&](const fs::directory_entry& entry) {
        const auto number = LogFiles::numberOf(entry.path().filename().string());
        return number ? add(*number, entry.path()) : 0;
    });
    if (rc != 0)
        return rc;
    const int shipped = Base::forEachEntry(copy / BackupNames::LogDirectory, [&](const fs::directory_entry& entry) {
        const auto number = BackupNames::shippedLogNumber(entry.path().filename().string());
        return number ? add(*number, entry.path()) : 0;
    });
    return shipped == ENOENT ? 0 : shipped;
}

} // namespace Ctl
