#include "tools/backupfiles.h"

#include "format/backupnames.h"

#include <optional>
#include <system_error>

namespace fs = std::filesystem;

namespace Ctl {

namespace {

std::uintmax_t sizeOf(const fs::path& file)
{
    std::error_code error;
    const auto size = fs::file_size(file, error);
    return error ? 0 : size;
}

/**
 * Of several copies of a log file the one to use. A shipped one is complete, the full copy may hold the beginning of
 * the same; yet a crash in the middle of a move leaves a shipped one that was cut off, which is the shorter then.
 */
fs::path wholeCopy(const fs::path& shipped, const fs::path& copied)
{
    fs::path best = shipped;
    for (const fs::path& other : {fs::path(shipped) += BackupNames::ReplacedSuffix, copied}) {
        if (sizeOf(other) > sizeOf(best))
            best = other;
    }
    return best;
}

void addShippedLogs(const fs::path& directory, BackupFiles* files, std::error_code& error)
{
    for (fs::directory_iterator entry(directory, error); !error && entry != fs::directory_iterator();
         entry.increment(error)) {
        if (const auto number = BackupNames::shippedLogNumber(entry->path().filename().string())) {
            const std::string name = BackupNames::logFile(*number);
            files->logs[*number] = wholeCopy(directory / name, directory.parent_path() / name);
        }
    }
}

/** The first number that is missing between the first and the last log file. */
std::optional<std::uint32_t> missingLog(const BackupFiles& files)
{
    std::uint32_t expected = files.logs.begin()->first;
    for (const auto& [number, path] : files.logs) {
        if (number != expected)
            return expected;
        ++expected;
    }
    return std::nullopt;
}

} // namespace

std::uintmax_t BackupFiles::bytes() const
{
    std::uintmax_t sum = 0;
    for (const fs::path& database : databases)
        sum += sizeOf(database);
    for (const auto& [number, path] : logs)
        sum += sizeOf(path);
    return sum;
}

bool readBackup(const fs::path& directory, BackupFiles* files, std::string* error)
{
    std::error_code failure;
    if (!fs::is_directory(directory, failure)) {
        *error = directory.string() + " is not a directory";
        return false;
    }
    for (fs::directory_iterator entry(directory, failure); !failure && entry != fs::directory_iterator();
         entry.increment(failure)) {
        const std::string name = entry->path().filename().string();
        if (name == BackupNames::Marker) {
            *error =
                directory.string() + " is unfinished: " + BackupNames::Marker + " is there, the copy was not completed";
            return false;
        }
        std::error_code vanished;
        if (!entry->is_regular_file(vanished) || name == BackupNames::ListFile ||
            name == BackupNames::UnfinishedListFile)
            continue;
        if (const auto number = BackupNames::logNumber(name))
            files->logs.emplace(*number, entry->path());
        else
            files->databases.push_back(entry->path());
    }
    const bool copyHasLogs = !files->logs.empty();
    if (!failure && fs::is_directory(directory / BackupNames::LogDirectory, failure))
        addShippedLogs(directory / BackupNames::LogDirectory, files, failure);
    if (failure && failure != std::errc::no_such_file_or_directory) {
        *error = "cannot read " + directory.string() + ": " + failure.message();
        return false;
    }
    if (files->logs.empty()) {
        *error = directory.string() + " is no backup: it holds no log files";
        return false;
    }
    // Without a copy, the log files alone are enough only from the very first on.
    if (files->databases.empty() ? files->logs.begin()->first != 1 : !copyHasLogs) {
        *error = directory.string() + " is no backup: " +
                 (copyHasLogs ? "it holds no database files" : "it holds only log files that followed a copy");
        return false;
    }
    if (const auto missing = missingLog(*files)) {
        *error = directory.string() + " has a gap: " + BackupNames::logFile(*missing) +
                 " is missing, and what follows cannot be applied without it";
        return false;
    }
    return true;
}

} // namespace Ctl
