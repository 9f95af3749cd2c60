#include "storage/syncfailures.h"

#include "base/filesync.h"
#include "format/berkeleydbnames.h"
#include "log/log.h"
#include "storage/filerewriting.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <exception>
#include <mutex>
#include <string>
#include <system_error>
#include <utility>

#include <sys/stat.h>

namespace fs = std::filesystem;

namespace {

struct Watched {
    std::mutex mutex;
    std::vector<SyncFailures*> all; // guarded by mutex
    std::atomic<int> failed = 0;    // how many of them have failed
};

Watched& watched()
{
    static Watched environments;
    return environments;
}

bool isBelow(const fs::path& path, const fs::path& directory)
{
    return std::mismatch(directory.begin(), directory.end(), path.begin(), path.end()).first == directory.end();
}

/** Empty if it cannot be found out. */
fs::path pathOf(int descriptor) noexcept
{
    try {
        return fs::read_symlink("/proc/self/fd/" + std::to_string(descriptor));
    } catch (const std::exception&) {
        return {};
    }
}

} // namespace

SyncFailures::~SyncFailures()
{
    Watched& environments = watched();
    const std::lock_guard lock(environments.mutex);
    std::erase(environments.all, this);
    if (any_)
        --environments.failed;
}

void SyncFailures::watch(const fs::path& home, std::vector<fs::path> directories)
{
    home_ = home;
    record_ = home / BerkeleyDbNames::FailedSyncRecord;
    directories_ = std::move(directories);
    directories_.push_back(home);
    Watched& environments = watched();
    const std::lock_guard lock(environments.mutex);
    environments.all.push_back(this);
}

int SyncFailures::rewriteAfterEarlier(const fs::path& logs) const
{
    struct stat status {};
    if (::lstat(record_.c_str(), &status) != 0)
        return errno == ENOENT ? 0 : errno;
    LOG_WARN << "A sync of a file in " << home_.c_str() << " had failed. Writing all files again";
    if (const int rc = FileRewriting::run(home_, logs, directories_)) {
        LOG_ERROR(LogOrigin::Engine, __LINE__) << "writing them again failed rc " << rc;
        return rc;
    }
    std::error_code error;
    fs::remove(record_, error);
    if (error)
        LOG_ERROR(LogOrigin::Engine, __LINE__) << record_.c_str() << " cannot be removed : " << error.message();
    return error ? error.value() : Base::syncToDisk(home_);
}

/** Calls `act` for the environments that a file may belong to. The mutex is held. */
template <typename Act> void SyncFailures::forEachOf(const fs::path& path, Act act)
{
    std::size_t innermost = 0; // for all of them, if the file is below none
    for (const SyncFailures* environment : watched().all)
        innermost = std::max(innermost, environment->depthAbove(path));
    for (SyncFailures* environment : watched().all) {
        if (environment->depthAbove(path) == innermost)
            act(environment);
    }
}

int SyncFailures::earlier(int descriptor) noexcept
{
    Watched& environments = watched();
    if (environments.failed == 0)
        return 0;
    const fs::path path = pathOf(descriptor);
    const std::lock_guard lock(environments.mutex);
    bool failed = false;
    forEachOf(path, [&failed](const SyncFailures* environment) { failed = failed || environment->any(); });
    return failed ? EIO : 0;
}

void SyncFailures::note(int descriptor, int error) noexcept
{
    note(pathOf(descriptor), error);
}

void SyncFailures::note(const fs::path& path, int error) noexcept
{
    const std::lock_guard lock(watched().mutex);
    forEachOf(path, [&](SyncFailures* environment) { environment->fail(path, error); });
}

void SyncFailures::fail(const fs::path& path, int error) noexcept
{
    if (any_.exchange(true))
        return;
    ++watched().failed;
    // Neither needs memory or a descriptor, of which there may be none.
    const bool isRecorded = ::mknod(record_.c_str(), S_IFREG | S_IRUSR | S_IWUSR, 0) == 0 || errno == EEXIST;
    const int reason = errno;
    try {
        LOG_ERROR(LogOrigin::Engine, __LINE__)
            << "sync of " << (path.empty() ? "a file" : path.c_str()) << " failed rc " << error << " : nothing in "
            << home_.c_str() << " is durable any more until it is opened again";
        if (!isRecorded)
            LOG_ERROR(LogOrigin::Engine, __LINE__)
                << record_.c_str() << " cannot be created : " << std::strerror(reason);
    } catch (const std::exception&) {
        // There is no memory for the lines.
    }
}

/** The length of the path of the innermost of the directories that the file is below; 0 if it is below none. */
std::size_t SyncFailures::depthAbove(const fs::path& path) const
{
    std::size_t depth = 0;
    for (const fs::path& directory : directories_) {
        if (isBelow(path, directory))
            depth = std::max(depth, directory.native().size());
    }
    return depth;
}
