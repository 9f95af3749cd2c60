#include "storage/databasefiles.h"

#include "base/directoryentries.h"
#include "base/kernelfilesystems.h"
#include "base/paths.h"
#include "format/backupnames.h"
#include "format/berkeleydbnames.h"
#include "storage/bdbenv.h"
#include "storage/databasefile.h"
#include "storage/environmentconfig.h"
#include "storage/environmentfiles.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <optional>
#include <set>
#include <system_error>
#include <utility>
#include <vector>

#include <unistd.h>

namespace fs = std::filesystem;

namespace DatabaseFiles {

namespace {

/** True for a link to or below one of `directories`, which are canonical: files there have a name without the link. */
bool leadsBack(const fs::path& path, const std::vector<fs::path>& directories)
{
    std::error_code error;
    if (!fs::is_symlink(path, error))
        return false;
    const fs::path target = fs::canonical(path, error);
    return !error && std::any_of(directories.begin(), directories.end(),
                                 [&](const fs::path& directory) { return Base::isWithin(target, directory); });
}

/** The canonical paths of the data directories that exist. */
std::vector<fs::path> canonicalPaths(const std::vector<fs::path>& directories)
{
    std::vector<fs::path> paths;
    for (const fs::path& directory : directories) {
        std::error_code error;
        fs::path path = fs::canonical(directory, error);
        if (!error)
            paths.push_back(std::move(path));
    }
    return paths;
}

/** What a walk does with what it cannot read, and where it ends. */
struct WalkRules {
    int* unreadable = nullptr;   // counts it; null: it ends the walk
    std::size_t most = SIZE_MAX; // entries to look at; more end the walk with E2BIG
};

bool isOutOfDescriptors(int error)
{
    return error == EMFILE || error == ENFILE;
}

/** Walks one of the data directories; all of them are given, with their canonical paths. */
class DirectoryWalk {
public:
    DirectoryWalk(const std::vector<fs::path>& all, const WalkRules& rules, ByName* files)
        : all_(all), rules_(rules), files_(*files), entered_(all.begin(), all.end())
    {}

    int through(const fs::path& directory)
    {
        // A list, not recursion: each level would keep a descriptor open, and links may lead a thousand levels deep.
        waiting_.push_back({directory, {}});
        while (!waiting_.empty()) {
            const Waiting next = std::move(waiting_.back());
            waiting_.pop_back();
            if (const int rc = throughOne(next))
                return rc;
        }
        return 0;
    }

private:
    struct Waiting {
        fs::path directory;
        std::string prefix; // of the names of its files
    };

    int throughOne(const Waiting& from)
    {
        int visited = 0;
        const int rc = Base::forEachEntry(from.directory, [&](const fs::directory_entry& entry) {
            const std::string name = entry.path().filename().string();
            const bool isTable = !BerkeleyDbNames::isInternal(name) && name != BackupNames::LogDirectory;
            if (++looked_ > rules_.most)
                visited = E2BIG;
            else if (isTable) // else Berkeley DB's own, or being created
                visited = visit(entry, from.prefix + name);
            return visited;
        });
        if (visited != 0)
            return visited;
        if (rc == 0 || rc == ENOENT)
            return 0;
        // A directory without search permission, such as a file system's "lost+found", holds no table of ours.
        if (rules_.unreadable == nullptr && rc == EACCES && ::access(from.directory.c_str(), X_OK) != 0)
            return 0;
        return orCounted(rc);
    }

    int visit(const fs::directory_entry& entry, const std::string& name)
    {
        std::error_code vanished;
        if (entry.is_directory(vanished)) { // or a link to one: a table's path may contain links
            // Tables can be opened in any directory, whatever else it holds, unless it is an environment of its own.
            if (leadsBack(entry.path(), all_) || Base::isOfKernel(entry.path()))
                return 0;
            bool ownLog = false;
            if (const int rc = EnvironmentFiles::findLog(entry.path(), &ownLog))
                return orCounted(rc);
            if (!ownLog && enter(entry.path()))
                waiting_.push_back({entry.path(), name + '/'});
            return 0;
        }
        std::optional<DatabasePage::Start> start;
        if (entry.is_regular_file(vanished)) {
            const int rc = DatabaseFile::readStart(entry.path(), &start);
            if (rc != 0 && rc != ENOENT)
                return orCounted(rc);
        }
        if (start)
            files_.emplace(name, entry.path());
        return 0;
    }

    /** 0 for what the walk only counts. */
    int orCounted(int rc) const
    {
        if (rules_.unreadable == nullptr || isOutOfDescriptors(rc))
            return rc;
        ++*rules_.unreadable;
        return 0;
    }

    /** False for a directory that was already entered: links may form cycles. */
    bool enter(const fs::path& directory)
    {
        std::error_code error;
        return entered_.insert(fs::canonical(directory, error)).second && !error;
    }

    const std::vector<fs::path>& all_;
    const WalkRules rules_;
    ByName& files_;
    std::set<fs::path> entered_; // initially all data directories, which are not entered from one another
    std::vector<Waiting> waiting_;
    std::size_t looked_ = 0;
};

/** A name that exists in several directories denotes the file in the first, also when it is copied by name. */
int findIn(const std::vector<fs::path>& directories, const WalkRules& rules, ByName* files)
{
    const std::vector<fs::path> all = canonicalPaths(directories);
    for (const fs::path& directory : directories) {
        DirectoryWalk walk(all, rules, files);
        if (const int rc = walk.through(directory))
            return rc;
    }
    return 0;
}

} // namespace

int findDirectories(BDBEnv* env, std::vector<fs::path>* directories)
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

std::vector<fs::path> directoriesOf(const fs::path& home)
{
    EnvironmentConfig config;
    (void)EnvironmentConfig::read(home, &config); // with a bad one it cannot be opened; all files count as in its home
    return config.dataDirectories;
}

int find(BDBEnv* env, ByName* files)
{
    std::vector<fs::path> directories;
    if (const int rc = findDirectories(env, &directories))
        return rc;
    return findIn(directories, {}, files);
}

int findUnopened(const fs::path& home, std::size_t most, ByName* files, int* unreadable)
{
    *unreadable = 0;
    std::error_code error;
    if (const fs::directory_iterator readable(home, error); error)
        return error.value();
    if (Base::isOfKernel(home))
        return ENOTSUP;
    return findIn(directoriesOf(home), {unreadable, most}, files);
}

int findSecondName(BDBEnv* env, const std::string& file, bool* isSecond)
{
    *isSecond = false;
    if (file.find('/') == std::string::npos)
        return 0;
    std::vector<fs::path> directories;
    if (const int rc = findDirectories(env, &directories))
        return rc;
    const std::vector<fs::path> all = canonicalPaths(directories);
    for (fs::path path : directories) {
        for (const fs::path& part : fs::path(file).parent_path()) {
            path /= part;
            *isSecond = *isSecond || leadsBack(path, all);
        }
    }
    return 0;
}

} // namespace DatabaseFiles
