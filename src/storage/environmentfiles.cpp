#include "storage/environmentfiles.h"

#include "format/backupnames.h"

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <system_error>

#include <fcntl.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

// The first page of every database file begins with the position of the log record that describes its last change
// (file number and offset), its own page number, and a number that tells the kind of database.
struct MetaPageStart {
    std::uint32_t logFile;
    std::uint32_t logOffset;
    std::uint32_t page;
    std::uint32_t magic;
};

constexpr std::array<std::uint32_t, 4> Magics = {0x053162, 0x061561, 0x042253, 0x074582}; // B-tree, hash, queue, heap

bool isMagic(std::uint32_t number)
{
    for (const std::uint32_t magic : Magics) {
        if (number == magic || number == __builtin_bswap32(magic)) // files move between machines
            return true;
    }
    return false;
}

bool isLogName(const fs::path& path)
{
    return BackupNames::logNumber(path.filename().string()).has_value();
}

/** Walks over `directory` as long as `look`, an `int(const fs::directory_entry&)`, returns 0. */
template <typename Look> int forEachEntry(const fs::path& directory, Look look)
{
    std::error_code error;
    for (fs::directory_iterator entry(directory, error), end; !error && entry != end; entry.increment(error)) {
        if (const int rc = look(*entry))
            return rc;
    }
    return error.value();
}

/** Files that vanish meanwhile, or may not be read, are no databases that anybody could open. */
int lookAtFile(const fs::path& path, EnvironmentFiles::Databases* databases)
{
    const int descriptor = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (descriptor < 0)
        return errno == EMFILE || errno == ENFILE ? errno : 0;
    MetaPageStart start{};
    const ssize_t got = ::pread(descriptor, &start, sizeof start, 0);
    ::close(descriptor);
    if (got == static_cast<ssize_t>(sizeof start) && isMagic(start.magic)) {
        ++databases->count;
        databases->logged = databases->logged || start.logFile != 0;
    }
    return 0;
}

int lookBelow(const fs::path& directory, dev_t device, EnvironmentFiles::Databases* databases)
{
    const int rc = forEachEntry(directory, [&](const fs::directory_entry& entry) {
        std::error_code vanished;
        if (entry.is_regular_file(vanished))
            return lookAtFile(entry.path(), databases);
        struct stat status {};
        if (::lstat(entry.path().c_str(), &status) != 0 || !S_ISDIR(status.st_mode) || status.st_dev != device)
            return 0;
        bool ownLog = false;
        if (const int failed = EnvironmentFiles::findLog(entry.path(), &ownLog))
            return failed;
        return ownLog ? 0 : lookBelow(entry.path(), device, databases);
    });
    return rc == EACCES || rc == ENOENT ? 0 : rc;
}

} // namespace

fs::path EnvironmentFiles::logDirectory(const fs::path& home)
{
    fs::path directory = home;
    std::ifstream config(home / "DB_CONFIG");
    for (std::string line; std::getline(config, line);) {
        std::istringstream words(line);
        std::string name;
        std::string value;
        // A line that begins with "#" is a comment; of several lines the last one holds.
        if (words >> name >> value && strcasecmp(name.c_str(), "set_lg_dir") == 0)
            directory = home / value;
    }
    return directory;
}

int EnvironmentFiles::findLog(const fs::path& home, bool* found)
{
    *found = false;
    const int rc = forEachEntry(logDirectory(home), [found](const fs::directory_entry& entry) {
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

int EnvironmentFiles::findDatabases(const fs::path& home, Databases* databases)
{
    *databases = {};
    struct stat status {};
    if (::stat(home.c_str(), &status) != 0)
        return errno;
    return lookBelow(home, status.st_dev, databases);
}

int EnvironmentFiles::checkWritable(const fs::path& directory)
{
    if (::faccessat(AT_FDCWD, directory.c_str(), R_OK | W_OK | X_OK, AT_EACCESS) != 0)
        return errno;
    const int descriptor = ::open(directory.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
    if (descriptor >= 0)
        ::close(descriptor);
    else if (errno == EACCES || errno == EPERM || errno == EROFS || errno == EOVERFLOW)
        return errno; // others say that the disk is full, or that this file system has no files without a name
    return forEachEntry(directory, [](const fs::directory_entry& entry) {
        const bool refused =
            isLogName(entry.path()) && ::faccessat(AT_FDCWD, entry.path().c_str(), R_OK | W_OK, AT_EACCESS) != 0;
        return refused ? errno : 0;
    });
}
