#include "storage/logshipping.h"

#include "base/directoryentries.h"
#include "base/filesync.h"
#include "format/backupnames.h"
#include "format/logfiles.h"
#include "log/log.h"

#include <filesystem>
#include <string>
#include <system_error>

namespace fs = std::filesystem;

namespace LogShipping {

namespace {

fs::path pathOf(const QByteArray& name)
{
    return name.toStdString();
}

/** Removes the files of a directory whose names `unwanted` selects; a missing directory has none. */
template <typename Unwanted> int removeFiles(const fs::path& directory, Unwanted unwanted)
{
    std::error_code error;
    if (!fs::is_directory(directory, error))
        return 0;
    return Base::forEachEntry(directory, [&](const fs::directory_entry& entry) {
        if (unwanted(entry.path().filename().string()))
            fs::remove(entry.path(), error); // a missing file is not an error
        return error.value();
    });
}

QByteArray logDirectory(const QByteArray& target)
{
    return target + '/' + BackupNames::LogDirectory;
}

} // namespace

int backupLog(const QByteArray& target, const QByteArrayList& paths)
{
    const QByteArray directory = logDirectory(target);
    std::error_code error;
    const bool isThere = fs::exists(pathOf(directory), error) || fs::create_directory(pathOf(directory), error);
    if (!isThere || Base::syncToDisk(pathOf(target)) != 0) { // must be durable before a source is removed
        LOG_ERROR(LogOrigin::Engine, __LINE__) << "Error in creating dir " << directory;
        return 0;
    }
    for (const QByteArray& path : paths) {
        const QByteArray destination = directory + "/" + path.sliced(path.lastIndexOf('/') + 1);
        if (const int rc = moveFile(path, destination)) {
            LOG_ERROR(LogOrigin::Engine, __LINE__) << "Error in moving log file " << path;
            return rc;
        }
    }
    return 0;
}

int moveFile(const QByteArray& source, const QByteArray& destination)
{
    constexpr int Failed = 2;
    const fs::path from = pathOf(source);
    const fs::path to = pathOf(destination);
    const fs::path safety = pathOf(destination) += BackupNames::ReplacedSuffix;
    std::error_code error;

    // If both exist, an earlier move was interrupted while copying: keep the older one, which is complete.
    if (fs::exists(to, error) && !fs::exists(safety, error)) {
        fs::rename(to, safety, error);
        if (error)
            return Failed;
    }
    if (!fs::copy_file(from, to, fs::copy_options::overwrite_existing, error) || Base::syncToDisk(to) != 0 ||
        Base::syncToDisk(to.parent_path()) != 0) {
        std::error_code ignored; // a partial copy is useless
        fs::remove(to, ignored);
        return Failed;
    }
    fs::remove(safety, error); // a missing file is not an error; the next move handles a leftover
    fs::remove(from, error);   // likewise: if it stays, the next cycle copies it again
    return 0;
}

int removeLogs(const QByteArray& target)
{
    const auto shipped = [](const std::string& name) { return BackupNames::shippedLogNumber(name).has_value(); };
    const auto copied = [](const std::string& name) { return LogFiles::numberOf(name).has_value(); };
    if (const int rc = removeFiles(pathOf(logDirectory(target)), shipped))
        return rc;
    return removeFiles(pathOf(target), copied);
}

} // namespace LogShipping
