#include "storage/databasefiles.h"

#include "base/directoryentries.h"
#include "base/paths.h"
#include "format/backupnames.h"
#include "format/berkeleydbnames.h"
#include "storage/bdbenv.h"
#include "storage/databasefile.h"
#include "storage/environmentfiles.h"

#include <algorithm>
#include <cerrno>
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

/** Walks one of the data directories; all of them are given, with their canonical paths. */
class DirectoryWalk {
public:
    DirectoryWalk(const std::vector<fs::path>& all, ByName* files)
        : all_(all), files_(*files), entered_(all.begin(), all.end())
    {}

    int through(const fs::path& directory, const std::string& prefix)
    {
        int visited = 0;
        const int rc = Base::forEachEntry(directory, [&](const fs::directory_entry& entry) {
            const std::string name = entry.path().filename().string();
            const bool isTable = !BerkeleyDbNames::isInternal(name) && name != BackupNames::LogDirectory;
            visited = isTable ? visit(entry, prefix + name) : 0; // else Berkeley DB's own, or being created
            return visited;
        });
        if (visited != 0)
            return visited;
        // A directory without search permission, such as a file system's "lost+found", holds no table of ours.
        if (rc == EACCES && ::access(directory.c_str(), X_OK) != 0)
            return 0;
        return rc == ENOENT ? 0 : rc;
    }

private:
    int visit(const fs::directory_entry& entry, const std::string& name)
    {
        std::error_code vanished;
        if (entry.is_directory(vanished)) { // or a link to one: a table's path may contain links
            // Tables can be opened in any directory, whatever else it holds, unless it is an environment of its own.
            if (leadsBack(entry.path(), all_))
                return 0;
            bool ownLog = false;
            if (const int rc = EnvironmentFiles::findLog(entry.path(), &ownLog))
                return rc;
            return ownLog || !enter(entry.path()) ? 0 : through(entry.path(), name + '/');
        }
        std::optional<DatabasePage::Start> start;
        if (entry.is_regular_file(vanished)) {
            const int rc = DatabaseFile::readStart(entry.path(), &start);
            if (rc != 0 && rc != ENOENT)
                return rc;
        }
        if (start)
            files_.emplace(name, entry.path());
        return 0;
    }

    /** False for a directory that was already entered: links may form cycles. */
    bool enter(const fs::path& directory)
    {
        std::error_code error;
        return entered_.insert(fs::canonical(directory, error)).second && !error;
    }

    const std::vector<fs::path>& all_;
    ByName& files_;
    std::set<fs::path> entered_; // initially all data directories, which are not entered from one another
};

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

int find(BDBEnv* env, ByName* files)
{
    std::vector<fs::path> directories;
    if (const int rc = findDirectories(env, &directories))
        return rc;
    // A name that exists in several directories denotes the file in the first, also when it is copied by name.
    const std::vector<fs::path> all = canonicalPaths(directories);
    for (const fs::path& directory : directories) {
        DirectoryWalk walk(all, files);
        if (const int rc = walk.through(directory, {}))
            return rc;
    }
    return 0;
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
