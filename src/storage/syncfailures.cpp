#include "storage/syncfailures.h"

#include "base/descriptor.h"
#include "base/filesync.h"
#include "format/berkeleydbnames.h"
#include "log/log.h"
#include "storage/environmentfiles.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <exception>
#include <mutex>
#include <string>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>

namespace fs = std::filesystem;

namespace {

struct Watched {
    std::mutex mutex;
    std::vector<SyncFailures*> all; // guarded by mutex
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

} // namespace

SyncFailures::~SyncFailures()
{
    Watched& environments = watched();
    const std::lock_guard lock(environments.mutex);
    std::erase(environments.all, this);
}

void SyncFailures::watch(const fs::path& home, std::vector<fs::path> directories)
{
    home_ = home;
    directories_ = std::move(directories);
    directories_.push_back(home);
    Watched& environments = watched();
    const std::lock_guard lock(environments.mutex);
    environments.all.push_back(this);
}

int SyncFailures::rewriteAfterEarlier() const
{
    struct stat status {};
    if (::lstat(record().c_str(), &status) != 0)
        return errno == ENOENT ? 0 : errno;
    LOG_WARN << "A sync of a file in " << home_.c_str() << " had failed. Writing all files again";
    for (const fs::path& directory : directories_) {
        if (const int rc = EnvironmentFiles::rewrite(directory)) {
            LOG_ERROR(LogOrigin::Engine, __LINE__) << "writing them again failed rc " << rc;
            return rc;
        }
    }
    std::error_code error;
    fs::remove(record(), error);
    return error ? error.value() : Base::syncToDisk(home_);
}

void SyncFailures::note(int descriptor, int error) noexcept
{
    try {
        note(fs::read_symlink("/proc/self/fd/" + std::to_string(descriptor)), error);
    } catch (const std::exception&) {
        note(fs::path(), error);
    }
}

void SyncFailures::note(const fs::path& path, int error) noexcept
{
    Watched& environments = watched();
    const std::lock_guard lock(environments.mutex);
    for (SyncFailures* environment : environments.all) {
        if (!environment->concerns(path) || environment->any_.exchange(true))
            continue;
        LOG_ERROR(LogOrigin::Engine, __LINE__)
            << "sync of " << path.c_str() << " failed rc " << error << " : nothing in " << environment->home_.c_str()
            << " is durable any more until it is opened again";
        const Base::Descriptor record(
            ::open(environment->record().c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, S_IRUSR | S_IWUSR));
        if (!record.isOpen())
            LOG_ERROR(LogOrigin::Engine, __LINE__)
                << environment->record().c_str() << " cannot be created : " << std::strerror(errno);
    }
}

/** Of a file whose path is not known, anything is possible. */
bool SyncFailures::concerns(const fs::path& path) const
{
    return path.empty() || std::any_of(directories_.begin(), directories_.end(),
                                       [&](const fs::path& directory) { return isBelow(path, directory); });
}

fs::path SyncFailures::record() const
{
    return home_ / BerkeleyDbNames::FailedSyncRecord;
}
