#include "tools/backupfiles.h"

#include "base/directorylock.h"
#include "base/fileio.h"
#include "format/backupnames.h"
#include "format/berkeleydbnames.h"
#include "format/logfiles.h"
#include "tools/backuplogs.h"
#include "tools/filecopy.h"
#include "tools/messages.h"

#include <cerrno>
#include <optional>
#include <system_error>
#include <utility>

namespace fs = std::filesystem;

namespace Ctl {

namespace {

/**
 * Chooses between several copies of a log file. A shipped one is complete, while the full copy may contain only its
 * beginning; but a crash in the middle of a move leaves a truncated shipped one, which is then the shorter one.
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

/** The files below a directory by relative name, except those that are not part of the copy itself. */
std::map<std::string, fs::path> filesOfCopy(const fs::path& directory, std::error_code& error)
{
    std::map<std::string, fs::path> found;
    for (fs::recursive_directory_iterator entry(directory, error);
         !error && entry != fs::recursive_directory_iterator(); entry.increment(error)) {
        const fs::path name = entry->path().lexically_relative(directory);
        std::error_code vanished;
        if (name == BackupNames::LogDirectory)
            entry.disable_recursion_pending();
        else if (entry->is_regular_file(vanished) && name != BackupNames::ListFile &&
                 name != BackupNames::UnfinishedListFile)
            found.emplace(name.string(), entry->path());
    }
    return found;
}

void addFile(const std::string& name, BackupFile file, BackupFiles* files)
{
    if (const auto number = LogFiles::numberOf(name))
        files->logs.emplace(*number, std::move(file));
    else
        files->databases.emplace(name, std::move(file));
}

/** Adds those numbered `first` and above. */
void addShippedLogs(const fs::path& directory, std::uint32_t first, BackupFiles* files, std::error_code& error)
{
    for (fs::directory_iterator entry(directory, error); !error && entry != fs::directory_iterator();
         entry.increment(error)) {
        const auto number = BackupNames::shippedLogNumber(entry->path().filename().string());
        if (number && *number >= first) {
            const std::string name = LogFiles::name(*number);
            files->logs[*number].path = wholeCopy(directory / name, directory.parent_path() / name);
        }
    }
}

/** Returns an empty string, or what is wrong with the list or with the files that it names. */
std::string addListedFiles(const fs::path& directory, std::map<std::string, fs::path> found, BackupFiles* files,
                           std::uint32_t* firstLog)
{
    BackupList list;
    if (std::string error = readList(directory, &list); !error.empty())
        return error;
    for (const auto& [name, listed] : list.files) {
        const auto entry = found.find(name);
        if (entry == found.end())
            return directory.string() + " is incomplete: " + name + " is missing";
        if (const auto size = sizeOf(entry->second); size != listed.size)
            return directory.string() + " is damaged: " + name + " has " + std::to_string(size) + " bytes instead of " +
                   std::to_string(listed.size);
        addFile(name, {entry->second, listed}, files);
        found.erase(entry);
    }
    for (const auto& [name, path] : found)
        files->leftOut.emplace(name, "it is not in the copy's list of files");
    *firstLog = list.firstLog;
    files->list = std::move(list);
    return {};
}

/** The first number that is missing between the first and the last log file. */
std::optional<std::uint32_t> missingLog(const BackupFiles& files)
{
    std::uint32_t expected = files.logs.begin()->first;
    for (const auto& [number, file] : files.logs) {
        if (number != expected)
            return expected;
        ++expected;
    }
    return std::nullopt;
}

/** Adds those log files of later copies that the backup lacks, or has less of. Returns 0 or an errno value. */
int addLaterLogs(const std::vector<fs::path>& copies, std::uint32_t first, BackupFiles* files)
{
    std::map<std::uint32_t, fs::path> logs;
    for (const auto& [number, file] : files->logs)
        logs.emplace(number, file.path);
    for (const fs::path& copy : copies) {
        if (const int rc = addLogsOf(copy, &logs))
            return rc;
    }
    for (const auto& [number, path] : logs) {
        if (number >= first)
            files->logs[number].path = path;
    }
    return 0;
}

} // namespace

std::string copyBackupFile(const BackupFile& file, const fs::path& backup, const fs::path& to)
{
    std::error_code failure;
    fs::create_directories(to.parent_path(), failure);
    LeadingChecksum leading(file.listed ? file.listed->size : 0);
    if (const int error = failure ? failure.value() : copyFile(file.path, to, &leading))
        return withReason("cannot copy " + file.path.string(), error);
    if (file.listed && !leading.is(file.listed->checksum))
        return backup.string() + ": " + file.path.lexically_relative(backup).string() +
               " is damaged: its checksum does not match";
    return {};
}

std::string readList(const fs::path& copy, BackupList* list)
{
    std::string text;
    (void)Base::readFile(copy / BackupNames::ListFile, &text); // ignored: a truncated list is refused
    std::string error;
    return BackupList::read(text, list, &error) ? std::string() : (copy / BackupNames::ListFile).string() + ' ' + error;
}

bool isOpenEnvironment(const fs::path& directory)
{
    std::error_code error;
    Base::DirectoryLock lock;
    return !fs::exists(directory / BackupNames::ListFile, error) &&
           lock.lock(directory, Base::DirectoryLock::Shared) == EWOULDBLOCK;
}

bool isUnfinished(const fs::path& directory, std::string* error)
{
    std::error_code failure;
    for (const char* name : {BackupNames::Marker, BackupNames::UnfinishedListFile}) {
        if (fs::exists(directory / name, failure)) {
            *error = directory.string() + " is unfinished: it contains " + name +
                     "; wait for the running backup to complete, or make another one";
            return true;
        }
    }
    return false;
}

bool readBackup(const BackupParts& backup, UnlistedCopy unlisted, BackupFiles* files, std::string* error)
{
    const fs::path& directory = backup.copy;
    std::error_code failure;
    if (!fs::is_directory(directory, failure)) {
        *error = failure && failure != std::errc::no_such_file_or_directory && failure != std::errc::not_a_directory
                     ? "cannot read " + directory.string() + ": " + failure.message()
                     : directory.string() + " is not a directory";
        return false;
    }
    if (isUnfinished(directory, error))
        return false;
    std::map<std::string, fs::path> found;
    if (!failure)
        found = filesOfCopy(directory, failure);
    const bool hasList = !failure && fs::exists(directory / BackupNames::ListFile, failure);
    if (failure) {
        *error = "cannot read " + directory.string() + ": " + failure.message();
        return false;
    }
    // Log files older than the copy may be shipped after it; the restore does not need them, so gaps there are
    // harmless.
    std::uint32_t firstLog = 0;
    if (hasList) {
        if (*error = addListedFiles(directory, std::move(found), files, &firstLog); !error->empty())
            return false;
    } else {
        if (found.erase(BerkeleyDbNames::ConfigFile) > 0)
            files->leftOut.emplace(BerkeleyDbNames::ConfigFile, "an environment's settings are not restored");
        for (const auto& [name, path] : found)
            addFile(name, {path, std::nullopt}, files);
    }
    const bool copyHasLogs = !files->logs.empty();
    if (backup.withShippedLogs && !failure && fs::is_directory(directory / BackupNames::LogDirectory, failure))
        addShippedLogs(directory / BackupNames::LogDirectory, firstLog, files, failure);
    if (failure && failure != std::errc::no_such_file_or_directory) {
        *error = "cannot read " + directory.string() + ": " + failure.message();
        return false;
    }
    if (files->logs.empty()) {
        *error = directory.string() + " is not a backup: it contains no log files";
        return false;
    }
    // Without a copy, the log files alone suffice only if they start with the very first one.
    if (files->databases.empty() ? files->logs.begin()->first != 1 : !copyHasLogs) {
        *error = directory.string() + " is not a backup: " +
                 (copyHasLogs ? "it contains no database files" : "it contains only log files shipped after a copy");
        return false;
    }
    if (const int rc = addLaterLogs(backup.later, firstLog, files)) {
        *error = "cannot read the log files of later copies: " + std::generic_category().message(rc);
        return false;
    }
    if (const auto missing = missingLog(*files)) {
        *error = directory.string() + " has a gap in its log: " + LogFiles::name(*missing) +
                 " is missing, and later log files cannot be applied without it";
        return false;
    }
    // A log from its beginning contains all data; whether a copy is complete is known only from its list.
    if (!hasList && unlisted == UnlistedCopy::Refused && !files->databases.empty()) {
        *error = directory.string() + " has no " + BackupNames::ListFile +
                 ", so missing files cannot be detected; --without-list restores the files that exist";
        return false;
    }
    return true;
}

} // namespace Ctl
