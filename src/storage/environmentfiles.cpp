#include "storage/environmentfiles.h"

#include "base/descriptor.h"
#include "base/directoryentries.h"
#include "format/backupnames.h"
#include "format/berkeleydbnames.h"
#include "format/logfiles.h"
#include "storage/databasefile.h"
#include "storage/environmentconfig.h"

#include <cerrno>
#include <optional>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

bool isLogName(const fs::path& path)
{
    return LogFiles::numberOf(path.filename().string()).has_value();
}

constexpr int Enough = -1; // ends a walk that found its answer; no errno value

/** Calls `look`, an `int(const fs::path&, const DatabasePage::Start&)`, if the file is a database; returns its result,
 * or 0. */
template <typename Look> int lookAtFile(const fs::path& path, Look look)
{
    // A file that vanished or is not readable is no database that could be opened.
    std::optional<DatabasePage::Start> start;
    const int rc = DatabaseFile::readStart(path, &start);
    if (rc == EMFILE || rc == ENFILE)
        return rc;
    return start ? look(path, *start) : 0;
}

/** Calls `look` for the databases directly in `directory` while it returns 0. `below` receives its subdirectories. */
template <typename Look> int lookIn(const fs::path& directory, dev_t device, std::vector<fs::path>* below, Look look)
{
    const int rc = Base::forEachEntry(directory, [&](const fs::directory_entry& entry) {
        std::error_code vanished;
        if (entry.is_regular_file(vanished))
            return lookAtFile(entry.path(), look);
        struct stat status {};
        if (::lstat(entry.path().c_str(), &status) == 0 && S_ISDIR(status.st_mode) && status.st_dev == device)
            below->push_back(entry.path());
        return 0;
    });
    return rc == EACCES || rc == ENOENT ? 0 : rc;
}

/** The same for all databases below `home`, except those in directories that are environments of their own. */
template <typename Look> int forEachDatabase(const fs::path& home, Look look)
{
    struct stat status {};
    if (::stat(home.c_str(), &status) != 0)
        return errno;
    // A list, not recursion: each level would keep a descriptor open, and directories may be nested a thousand deep.
    std::vector<fs::path> directories{home};
    while (!directories.empty()) {
        const fs::path directory = std::move(directories.back());
        directories.pop_back();
        bool ownLog = false;
        if (directory != home) {
            if (const int rc = EnvironmentFiles::findLog(directory, &ownLog))
                return rc;
        }
        if (ownLog)
            continue;
        if (const int rc = lookIn(directory, status.st_dev, &directories, look))
            return rc == Enough ? 0 : rc;
    }
    return 0;
}

/** Also 0 when the disk is full: that may change. */
int tryToMakeFile(const fs::path& directory)
{
    const Base::Descriptor nameless(::open(directory.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600));
    if (nameless.isOpen())
        return 0;
    if (errno == EOPNOTSUPP || errno == EISDIR || errno == EINVAL || errno == ENOENT) {
        // A file system without O_TMPFILE.
        const fs::path path = directory / BerkeleyDbNames::ProbeFile;
        ::unlink(path.c_str()); // left by a killed server
        const Base::Descriptor named(::open(path.c_str(), O_CREAT | O_EXCL | O_RDWR | O_CLOEXEC, 0600));
        if (named.isOpen()) {
            ::unlink(path.c_str());
            return 0;
        }
    }
    return errno == ENOSPC || errno == EDQUOT ? 0 : errno;
}

} // namespace

int EnvironmentFiles::findLog(const fs::path& home, bool* found)
{
    EnvironmentConfig config;
    const int failed = EnvironmentConfig::read(home, &config);
    if (failed == EMFILE || failed == ENFILE)
        return failed;
    // With any other unreadable DB_CONFIG the environment cannot be opened; only the log files in its home count.
    return findLogIn(config.logDirectory, found);
}

int EnvironmentFiles::findLogIn(const fs::path& directory, bool* found)
{
    *found = false;
    const int rc = Base::forEachEntry(directory, [found](const fs::directory_entry& entry) {
        *found = *found || isLogName(entry.path());
        return 0;
    });
    return rc == EACCES || rc == ENOENT || rc == ENOTDIR ? 0 : rc;
}

bool EnvironmentFiles::isUnfinishedCopy(const fs::path& home)
{
    struct stat status {};
    return ::lstat((home / BackupNames::UnfinishedListFile).c_str(), &status) == 0;
}

int EnvironmentFiles::findLoggedDatabase(const fs::path& home, bool* found)
{
    *found = false;
    return forEachDatabase(home, [found](const fs::path&, const DatabasePage::Start& start) {
        *found = start.logFile != 0;
        return *found ? Enough : 0;
    });
}

int EnvironmentFiles::findDatabaseIn(const fs::path& directory, bool* found)
{
    *found = false;
    struct stat status {};
    if (::stat(directory.c_str(), &status) != 0)
        return errno;
    std::vector<fs::path> below;
    const int rc = lookIn(directory, status.st_dev, &below, [found](const fs::path&, const DatabasePage::Start&) {
        *found = true;
        return Enough;
    });
    return rc == Enough ? 0 : rc;
}

int EnvironmentFiles::countDatabases(const fs::path& home, int most, int* count)
{
    *count = 0;
    if (most <= 0)
        return 0;
    return forEachDatabase(
        home, [count, most](const fs::path&, const DatabasePage::Start&) { return ++*count < most ? 0 : Enough; });
}

int EnvironmentFiles::checkWritable(const fs::path& directory)
{
    if (::faccessat(AT_FDCWD, directory.c_str(), R_OK | W_OK | X_OK, AT_EACCESS) != 0)
        return errno;
    if (const int rc = tryToMakeFile(directory))
        return rc;
    return Base::forEachEntry(directory, [](const fs::directory_entry& entry) {
        if (!isLogName(entry.path()))
            return 0;
        if (::faccessat(AT_FDCWD, entry.path().c_str(), R_OK | W_OK, AT_EACCESS) != 0)
            return errno;
        std::error_code vanished;
        return entry.is_regular_file(vanished) || vanished ? 0 : EINVAL; // Berkeley DB would wait for a FIFO's writer
    });
}

int EnvironmentFiles::findDatabases(const fs::path& home, std::vector<fs::path>* paths)
{
    return forEachDatabase(home, [paths](const fs::path& path, const DatabasePage::Start&) {
        paths->push_back(path);
        return 0;
    });
}
