#include "storage/databasefiles.h"

#include "format/backupnames.h"
#include "storage/bdbenv.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <set>
#include <system_error>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

// Where the first page of a database, whatever its kind, has its magic number and its identity; on disk.
constexpr std::size_t MagicOffset = 12;
constexpr std::size_t IdOffset = 52;
constexpr std::size_t IdLength = 20;
constexpr std::array<std::uint32_t, 4> Magics = {0x053162, 0x061561, 0x042253, 0x074582}; // tree, hash, queue, heap

/** The walk through one data directory. */
class Walk {
public:
    explicit Walk(DatabaseFiles* files) : files_(*files) {}

    /** Marks a directory as one that is not entered from another. */
    void leaveOut(const fs::path& directory) { (void)enter(directory); }

    int through(const fs::path& directory, const std::string& prefix)
    {
        std::error_code error;
        for (fs::directory_iterator entry(directory, error), end; !error && entry != end; entry.increment(error)) {
            const std::string name = entry->path().filename().string();
            if (name.starts_with("__db") || name == BackupNames::LogDirectory)
                continue; // Berkeley DB's own, and files that are only just being made
            if (const int rc = visit(*entry, prefix + name))
                return rc;
        }
        // What nobody may search, such as a file system's "lost+found", holds no table of ours.
        if (error == std::errc::permission_denied && ::access(directory.c_str(), X_OK) != 0)
            return 0;
        return error == std::errc::no_such_file_or_directory ? 0 : error.value();
    }

private:
    int visit(const fs::directory_entry& entry, const std::string& name)
    {
        std::error_code vanished;
        if (entry.is_directory(vanished)) { // also by a link: a table's name may lead through one
            if (!enter(entry.path()) || isOfItsOwn(entry.path()))
                return 0;
            return through(entry.path(), name + '/');
        }
        bool isDatabase = false;
        if (entry.is_regular_file(vanished)) {
            if (const int rc = checkDatabaseFile(entry.path(), &isDatabase))
                return rc;
        }
        if (isDatabase)
            files_.emplace(name, entry.path());
        return 0;
    }

    /** False for a directory that was entered already: links may lead in circles. */
    bool enter(const fs::path& directory)
    {
        std::error_code error;
        return entered_.insert(fs::canonical(directory, error)).second && !error;
    }

    static bool isOfItsOwn(const fs::path& directory)
    {
        std::error_code error;
        for (fs::directory_iterator entry(directory, error), end; !error && entry != end; entry.increment(error)) {
            const std::string name = entry->path().filename().string();
            if (BackupNames::logNumber(name) || name == BackupNames::Marker || name == BackupNames::ListFile ||
                name == BackupNames::UnfinishedListFile)
                return true;
        }
        return false;
    }

    DatabaseFiles& files_;
    std::set<fs::path> entered_;
};

} // namespace

int findDataDirectories(BDBEnv* env, std::vector<fs::path>* directories)
{
    const char* home = nullptr;
    if (const int rc = env->get_home(&home))
        return rc;
    const char** configured = nullptr;
    if (const int rc = env->get_data_dirs(&configured))
        return rc;
    for (; configured != nullptr && *configured != nullptr; ++configured)
        directories->push_back(fs::path(home) / *configured);
    if (directories->empty())
        directories->emplace_back(home);
    return 0;
}

int findDatabaseFiles(BDBEnv* env, DatabaseFiles* files)
{
    std::vector<fs::path> directories;
    if (const int rc = findDataDirectories(env, &directories))
        return rc;
    // A name that is in several directories means the file in the first of them, also when that is copied by its name.
    for (const fs::path& directory : directories) {
        Walk walk(files);
        for (const fs::path& other : directories)
            walk.leaveOut(other);
        if (const int rc = walk.through(directory, {}))
            return rc;
    }
    return 0;
}

bool isDatabaseFile(const fs::path& file)
{
    bool isDatabase = false;
    return checkDatabaseFile(file, &isDatabase) == 0 && isDatabase;
}

int checkDatabaseFile(const fs::path& file, bool* isDatabase)
{
    *isDatabase = false;
    const int descriptor = ::open(file.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0)
        return errno == ENOENT ? 0 : errno;
    std::uint32_t magic = 0;
    const ssize_t got = ::pread(descriptor, &magic, sizeof magic, MagicOffset);
    const int rc = got < 0 ? errno : 0;
    ::close(descriptor);
    const std::uint32_t swapped = __builtin_bswap32(magic); // a database keeps the byte order of where it was made
    *isDatabase = got == sizeof magic && (std::find(Magics.begin(), Magics.end(), magic) != Magics.end() ||
                                          std::find(Magics.begin(), Magics.end(), swapped) != Magics.end());
    return rc;
}

std::string databaseId(const fs::path& file)
{
    std::string id(IdLength, '\0');
    const int descriptor = ::open(file.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0)
        return {};
    const bool whole = ::pread(descriptor, id.data(), id.size(), IdOffset) == static_cast<ssize_t>(id.size());
    ::close(descriptor);
    return whole ? id : std::string();
}
