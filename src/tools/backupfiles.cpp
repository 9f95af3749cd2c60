#include "tools/backupfiles.h"

#include <cstdio>
#include <limits>
#include <optional>
#include <system_error>

namespace fs = std::filesystem;

namespace Ctl {

namespace {

constexpr const char* Marker = "BackupInProgress.tmp";
constexpr const char* LogDirectory = "__log__";
constexpr const char* Replaced = ".del"; // the previous copy of a log file while a new one is being written

/** The number in "log." and ten digits; nothing for any other name. */
std::optional<std::uint32_t> logNumber(const std::string& name)
{
    constexpr std::size_t Digits = 10;
    if (name.size() != 4 + Digits || name.compare(0, 4, "log.") != 0 ||
        name.find_first_not_of("0123456789", 4) != std::string::npos)
        return std::nullopt;
    const unsigned long long number = std::stoull(name.substr(4));
    if (number > std::numeric_limits<std::uint32_t>::max())
        return std::nullopt; // Berkeley DB counts no further, so it is no file of its log
    return static_cast<std::uint32_t>(number);
}

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
    for (const fs::path& other : {fs::path(shipped.string() + Replaced), copied}) {
        if (sizeOf(other) > sizeOf(best))
            best = other;
    }
    return best;
}

void addShippedLogs(const fs::path& directory, BackupFiles* files, std::error_code& error)
{
    for (fs::directory_iterator entry(directory, error); !error && entry != fs::directory_iterator();
         entry.increment(error)) {
        std::string name = entry->path().filename().string();
        if (name.ends_with(Replaced))
            name.resize(name.size() - std::char_traits<char>::length(Replaced));
        if (const auto number = logNumber(name))
            files->logs[*number] = wholeCopy(directory / name, directory.parent_path() / name);
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

std::string logFileName(std::uint32_t number)
{
    char name[32];
    std::snprintf(name, sizeof name, "log.%010u", number);
    return name;
}

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
        if (name == Marker) {
            *error = directory.string() + " is unfinished: " + Marker + " is there, the copy was not completed";
            return false;
        }
        std::error_code vanished;
        if (!entry->is_regular_file(vanished))
            continue;
        if (const auto number = logNumber(name))
            files->logs.emplace(*number, entry->path());
        else
            files->databases.push_back(entry->path());
    }
    const bool copyHasLogs = !files->logs.empty();
    if (!failure && fs::is_directory(directory / LogDirectory, failure))
        addShippedLogs(directory / LogDirectory, files, failure);
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
        *error = directory.string() + " has a gap: " + logFileName(*missing) +
                 " is missing, and what follows cannot be applied without it";
        return false;
    }
    return true;
}

} // namespace Ctl
