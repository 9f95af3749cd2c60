#include "writeback/trackedfiles.h"

#include "durablestate.h"
#include "writeback/faults.h"
#include "writeback/rawcalls.h"

#include <algorithm>
#include <cerrno>
#include <memory>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace WriteBack {

namespace {

/** The entry of a file of the environment, which is created when this process opens it first. */
std::shared_ptr<File> fileOf(int descriptor, const std::string& path)
{
    Tracker& all = tracker();
    struct stat status {};
    if (syscall(SYS_fstat, descriptor, &status) != 0)
        stop("fstat");
    if (!S_ISREG(status.st_mode))
        return nullptr;
    std::shared_ptr<File>& entry = all.files[status.st_ino];
    if (entry)
        return entry;
    entry = std::make_shared<File>();
    entry->inode = status.st_ino;
    entry->image = knownImage(path, status.st_ino);
    const int reader = rawOpen(path.c_str(), O_RDONLY | O_CLOEXEC);
    const int image = rawOpen(entry->image.c_str(), O_RDWR | O_CLOEXEC);
    if (reader < 0 || image < 0)
        stop(path);
    if (completePending(reader, image, *entry) && !all.strictNames)
        synchroniseNameOf(path);
    entry->dirty = differingBlocks(reader, image);
    entry->lost = lostBlocks(status.st_ino);
    for (const off_t block : entry->lost)
        entry->dirty.erase(block);
    rawClose(reader);
    rawClose(image);
    return entry;
}

} // namespace

int openTracked(const char* path, int flags, mode_t mode)
{
    if (path == nullptr || !isBelow(path, tracker().environment))
        return rawOpen(path, flags, mode);
    Tracker& all = tracker();
    const std::lock_guard lock(all.mutex);
    const int descriptor = rawOpen(path, flags & ~(O_TRUNC | O_DSYNC | O_SYNC), mode);
    if (descriptor < 0)
        return descriptor;
    Descriptor entry{fileOf(descriptor, path), (flags & (O_DSYNC | O_SYNC)) != 0};
    if (entry.file) {
        if ((flags & O_TRUNC) != 0)
            truncateTracked(entry.file.get(), descriptor, 0);
        all.descriptors[descriptor] = entry;
    }
    return descriptor;
}

int truncateTracked(File* file, int descriptor, off_t size)
{
    const std::lock_guard lock(file->mutex);
    const off_t before = sizeOf(descriptor);
    const int rc = rawTruncate(descriptor, size);
    if (rc == 0)
        markDirty(file, std::min(before, size), std::max(before, size));
    return rc;
}

off_t writePosition(int descriptor)
{
    const long flags = syscall(SYS_fcntl, descriptor, F_GETFL);
    if (flags >= 0 && (flags & O_APPEND) != 0)
        return sizeOf(descriptor);
    return static_cast<off_t>(syscall(SYS_lseek, descriptor, 0, SEEK_CUR));
}

int trackedSync(int descriptor, long systemCall)
{
    if (const Descriptor target = lookup(descriptor); target.file) {
        dieIfAsked(pathOf(descriptor));
        waitForDisk(descriptor);
        if (failsAsAsked(pathOf(descriptor))) {
            const std::lock_guard lock(target.file->mutex);
            loseDirty(target.file.get());
            errno = EIO;
            return -1;
        }
        {
            const std::lock_guard lock(target.file->mutex);
            synchronised(target.file.get(), descriptor);
        }
        fileSynchronised(target.file.get(), descriptor);
        return 0;
    }
    const std::string path = pathOf(descriptor);
    struct stat status {};
    if (rootOf(path).empty() || syscall(SYS_fstat, descriptor, &status) != 0)
        return static_cast<int>(syscall(systemCall, descriptor));
    dieIfAsked(path);
    if (S_ISDIR(status.st_mode) && failsAsAsked(path + "/.")) {
        errno = EIO;
        return -1;
    }
    Tracker& all = tracker();
    const std::lock_guard lock(all.mutex);
    if (S_ISDIR(status.st_mode)) {
        synchroniseNames(path);
        return 0;
    }
    if (!S_ISREG(status.st_mode))
        return static_cast<int>(syscall(systemCall, descriptor)); // such as a pipe, which cannot be
    if (isBelow(path, all.environment))
        stop("a file of the environment that was not opened here: " + path);
    synchroniseByComparison(descriptor, path, status.st_ino);
    return 0;
}

int removeDirectory(int base, const char* name)
{
    const std::string path = absolute(base, name);
    struct stat status {};
    if (rootOf(path).empty() || !statusOf(path, &status) || !S_ISDIR(status.st_mode) || !namesIn(path).empty())
        return static_cast<int>(syscall(SYS_unlinkat, base, name, AT_REMOVEDIR));
    const std::string held = tracker().state + DurableState::held(status.st_ino);
    return static_cast<int>(syscall(SYS_rename, path.c_str(), held.c_str()));
}

int removeFile(int base, const char* name)
{
    const int rc = static_cast<int>(syscall(SYS_unlinkat, base, name, 0));
    if (rc == 0)
        dieWhenRemoved(absolute(base, name));
    return rc;
}

} // namespace WriteBack
