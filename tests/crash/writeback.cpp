/*
 * A library to preload into a server: it keeps, beside an environment's directory, what of it would be there after a
 * loss of power.
 *
 *     CRASH_TRACKED_DIRECTORY   the directory (absolute, no symbolic links; files directly in it)
 *     CRASH_DURABLE_DIRECTORY   an existing directory that holds the durable image of each file, under the same name
 *     CRASH_KILL_FILE           while a file of this name exists, synchronisations are counted, of the files whose
 *     CRASH_KILL_NAME           paths hold this; the process is killed at the one with
 *     CRASH_KILL_SYNC           this number, from 1, before it has any effect
 *     CRASH_IGNORE_SYNC         when set, synchronising has no effect: to see that the tests notice
 *
 * What is modelled:
 * - written bytes stay in the page cache, and are lost, until an fsync or fdatasync of their file that began after the
 *   write has returned;
 * - a write through a descriptor opened with O_DSYNC or O_SYNC is durable when it returns, for its own bytes only;
 * - the length of a file is durable as far as its bytes are;
 * - creating, renaming and unlinking a file is durable at once. (A journalling file system does these in their order.)
 *
 * A kill does not cut a synchronous write off: the system completes the call before the process is gone. So what was
 * under way is noted beside the image, in ".pending-" and its name, for the next process, which finds it durable.
 *
 * The disk itself is never waited for: the image is what counts, and a test gets more done between two kills.
 *
 * A kill leaves the image as it was at that moment. It changes within the call that makes bytes durable, while the
 * file takes no writes: so it never holds a byte that a disk could not, and lacks none that a caller counts upon.
 *
 * System calls are made directly, so that nothing here depends on the order in which libraries are loaded.
 */

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <unordered_map>
#include <utility>

#include <fcntl.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

namespace {

constexpr off_t BlockSize = 4096; // what the page cache writes back at once

/** One file of the directory, whatever it is called and however often it is open. */
struct File {
    std::mutex mutex;        // held while the file or its image changes
    std::string image;       // path; guarded by mutex
    std::set<off_t> dirty{}; // numbers of blocks that differ from the image; guarded by mutex
};

struct Descriptor {
    std::shared_ptr<File> file;
    bool synchronous = false;
};

using Identity = std::pair<dev_t, ino_t>;

/** Never destroyed: other threads write until the process has ended. */
struct Tracker {
    std::mutex mutex; // taken before any file's, so nothing below calls the functions that this library replaces
    std::string directory;
    std::string images;
    bool ignoreSync = false;
    std::map<Identity, std::shared_ptr<File>> files;
    std::unordered_map<int, Descriptor> descriptors;
};

Tracker& tracker()
{
    static Tracker* const instance = [] {
        auto* made = new Tracker;
        const char* directory = std::getenv("CRASH_TRACKED_DIRECTORY");
        const char* images = std::getenv("CRASH_DURABLE_DIRECTORY");
        made->ignoreSync = std::getenv("CRASH_IGNORE_SYNC") != nullptr;
        if (directory != nullptr && images != nullptr) {
            made->directory = std::string(directory) + '/';
            made->images = std::string(images) + '/';
        }
        return made;
    }();
    return *instance;
}

/** An image that is not kept would let tests pass that should not. */
[[noreturn]] void stop(const std::string& what)
{
    const std::string line = what + ": " + std::strerror(errno) + '\n';
    (void)!syscall(SYS_write, STDERR_FILENO, line.data(), line.size());
    std::abort();
}

int rawClose(int descriptor)
{
    return static_cast<int>(syscall(SYS_close, descriptor));
}

int rawTruncate(int descriptor, off_t size)
{
    return static_cast<int>(syscall(SYS_ftruncate, descriptor, size));
}

int rawOpen(const char* path, int flags, mode_t mode = 0)
{
    return static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags, mode));
}

/** The name inside the directory, or empty when the path is not directly in it. */
std::string trackedName(const char* path)
{
    const std::string& directory = tracker().directory;
    if (directory.empty() || path == nullptr || std::strncmp(path, directory.c_str(), directory.size()) != 0)
        return {};
    std::string name = path + directory.size();
    return name.find('/') == std::string::npos ? name : std::string();
}

/** Copies a range between descriptors; what is not there reads as its end. */
void copyRange(int from, int to, off_t begin, off_t end)
{
    char block[BlockSize];
    while (begin < end) {
        const auto wanted = static_cast<std::size_t>(std::min(end - begin, BlockSize));
        const ssize_t got = syscall(SYS_pread64, from, block, wanted, begin);
        if (got < 0)
            stop("read of a tracked file");
        if (got == 0)
            return;
        if (syscall(SYS_pwrite64, to, block, static_cast<std::size_t>(got), begin) != got)
            stop("write of an image");
        begin += got;
    }
}

off_t sizeOf(int descriptor)
{
    struct stat status {};
    if (syscall(SYS_fstat, descriptor, &status) != 0)
        stop("fstat");
    return status.st_size;
}

/** A synchronous write that is under way. */
struct Pending {
    off_t begin;
    off_t end;
};

std::string pendingPath(const std::string& image)
{
    const std::size_t slash = image.rfind('/') + 1;
    return image.substr(0, slash) + ".pending-" + image.substr(slash);
}

/** What a process that was killed had begun has been completed by the system. */
void completePending(int file, int image, const std::string& imagePath)
{
    const std::string path = pendingPath(imagePath);
    const int noted = rawOpen(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (noted < 0)
        return;
    Pending pending{};
    if (syscall(SYS_pread64, noted, &pending, sizeof pending, 0) == sizeof pending)
        copyRange(file, image, pending.begin, pending.end);
    rawClose(noted);
    (void)syscall(SYS_unlink, path.c_str());
}

/** The blocks in which a file differs from its image; called for a file that this process has not seen before. */
std::set<off_t> differingBlocks(int file, int image)
{
    std::set<off_t> differing;
    char left[BlockSize];
    char right[BlockSize];
    const off_t size = std::max(sizeOf(file), sizeOf(image));
    for (off_t at = 0; at < size; at += BlockSize) {
        const ssize_t a = syscall(SYS_pread64, file, left, BlockSize, at);
        const ssize_t b = syscall(SYS_pread64, image, right, BlockSize, at);
        if (a < 0 || b < 0)
            stop("comparison with an image");
        if (a != b || std::memcmp(left, right, static_cast<std::size_t>(a)) != 0)
            differing.insert(at / BlockSize);
    }
    return differing;
}

/** Makes the image when there is none: of a file that was there before, a copy; of a new one, an empty file. */
std::shared_ptr<File> fileOf(int descriptor, const std::string& name, bool isNew)
{
    Tracker& all = tracker();
    struct stat status {};
    if (syscall(SYS_fstat, descriptor, &status) != 0)
        stop("fstat");
    if (!S_ISREG(status.st_mode))
        return nullptr;
    std::shared_ptr<File>& entry = all.files[{status.st_dev, status.st_ino}];
    if (entry)
        return entry;
    entry = std::make_shared<File>();
    entry->image = all.images + name;
    const std::string path = all.directory + name;
    const int reader = rawOpen(path.c_str(), O_RDONLY | O_CLOEXEC);
    int image = rawOpen(entry->image.c_str(), O_RDWR | O_CLOEXEC);
    const bool imageMissing = image < 0;
    if (imageMissing)
        image = rawOpen(entry->image.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (reader < 0 || image < 0)
        stop(path);
    if (imageMissing && !isNew)
        copyRange(reader, image, 0, status.st_size);
    else if (!imageMissing && isNew)
        (void)rawTruncate(image, 0); // left by a file of the same name
    completePending(reader, image, entry->image);
    entry->dirty = differingBlocks(reader, image);
    rawClose(reader);
    rawClose(image);
    return entry;
}

void markDirty(File* file, off_t begin, off_t end)
{
    for (off_t block = begin / BlockSize; block * BlockSize < end; ++block)
        file->dirty.insert(block);
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

int openTracked(const char* path, int flags, mode_t mode)
{
    const std::string name = trackedName(path);
    if (name.empty())
        return rawOpen(path, flags, mode);
    Tracker& all = tracker();
    const std::lock_guard lock(all.mutex);
    const bool existed = syscall(SYS_access, path, F_OK) == 0;
    const int descriptor = rawOpen(path, flags & ~(O_TRUNC | O_DSYNC | O_SYNC), mode);
    if (descriptor < 0)
        return descriptor;
    Descriptor entry{fileOf(descriptor, name, !existed), (flags & (O_DSYNC | O_SYNC)) != 0};
    if (entry.file) {
        if ((flags & O_TRUNC) != 0)
            truncateTracked(entry.file.get(), descriptor, 0);
        all.descriptors[descriptor] = entry;
    }
    return descriptor;
}

Descriptor lookup(int descriptor)
{
    Tracker& all = tracker();
    const std::lock_guard lock(all.mutex);
    const auto found = all.descriptors.find(descriptor);
    return found == all.descriptors.end() ? Descriptor() : found->second;
}

/** Runs a write of `size` bytes through a synchronous descriptor; the file's mutex is held. */
template <typename Write>
ssize_t writeSynchronously(const Descriptor& target, int descriptor, off_t offset, std::size_t size, Write write)
{
    const std::string self = "/proc/self/fd/" + std::to_string(descriptor);
    const int reader = rawOpen(self.c_str(), O_RDONLY | O_CLOEXEC);
    const int image = rawOpen(target.file->image.c_str(), O_RDWR | O_CLOEXEC);
    const int noted = rawOpen(pendingPath(target.file->image).c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    if (reader < 0 || image < 0 || noted < 0)
        stop("image of a synchronous write");
    const Pending pending{offset, offset + static_cast<off_t>(size)};
    if (syscall(SYS_pwrite64, noted, &pending, sizeof pending, 0) != sizeof pending)
        stop("note of a synchronous write");
    const ssize_t written = write();
    const int error = errno;
    if (written > 0)
        copyRange(reader, image, offset, offset + written);
    if (rawTruncate(noted, 0) != 0)
        stop("note of a synchronous write");
    rawClose(reader);
    rawClose(image);
    rawClose(noted);
    errno = error;
    return written;
}

/** Ends this process as a kill would, when it is to be now. */
void dieIfAsked(const std::string& image)
{
    static const char* const trigger = std::getenv("CRASH_KILL_FILE");
    static const char* const name = std::getenv("CRASH_KILL_NAME");
    static const char* const number = std::getenv("CRASH_KILL_SYNC");
    static std::atomic<int> count{0};
    if (trigger != nullptr && name != nullptr && number != nullptr && image.find(name) != std::string::npos &&
        syscall(SYS_access, trigger, F_OK) == 0 && ++count == std::atoi(number))
        (void)kill(getpid(), SIGKILL);
}

/** Everything that was written to a file has become durable; the file's mutex is held. */
void synchronised(File* file, int descriptor)
{
    if (tracker().ignoreSync)
        return;
    const std::string self = "/proc/self/fd/" + std::to_string(descriptor);
    const int reader = rawOpen(self.c_str(), O_RDONLY | O_CLOEXEC);
    const int image = rawOpen(file->image.c_str(), O_RDWR | O_CLOEXEC);
    if (reader < 0 || image < 0)
        stop("image of a synchronised file");
    for (const off_t block : file->dirty)
        copyRange(reader, image, block * BlockSize, (block + 1) * BlockSize);
    if (const off_t size = sizeOf(reader); size != sizeOf(image) && rawTruncate(image, size) != 0)
        stop("length of an image");
    file->dirty.clear();
    rawClose(reader);
    rawClose(image);
}

/** Where the next write() of a descriptor goes. */
off_t writePosition(int descriptor)
{
    const long flags = syscall(SYS_fcntl, descriptor, F_GETFL);
    if (flags >= 0 && (flags & O_APPEND) != 0)
        return sizeOf(descriptor);
    return static_cast<off_t>(syscall(SYS_lseek, descriptor, 0, SEEK_CUR));
}

/** Runs `write`, which writes up to `size` bytes at `offset`; -1 stands for the descriptor's own position. */
template <typename Write> ssize_t trackedWrite(int descriptor, off_t offset, std::size_t size, Write write)
{
    const Descriptor target = lookup(descriptor);
    if (!target.file)
        return write();
    const std::lock_guard lock(target.file->mutex);
    const off_t position = offset < 0 ? writePosition(descriptor) : offset;
    if (target.synchronous && !tracker().ignoreSync)
        return writeSynchronously(target, descriptor, position, size, write);
    const ssize_t written = write();
    if (written > 0)
        markDirty(target.file.get(), position, position + written);
    return written;
}

int trackedSync(int descriptor, long systemCall)
{
    const Descriptor target = lookup(descriptor);
    if (!target.file)
        return static_cast<int>(syscall(systemCall, descriptor));
    const std::lock_guard lock(target.file->mutex);
    dieIfAsked(target.file->image);
    synchronised(target.file.get(), descriptor);
    return 0;
}

/** The file at a path stops being the one of its name. */
void forget(const char* path)
{
    struct stat status {};
    if (syscall(SYS_newfstatat, AT_FDCWD, path, &status, AT_SYMLINK_NOFOLLOW) == 0 && status.st_nlink <= 1)
        tracker().files.erase({status.st_dev, status.st_ino});
}

} // namespace

extern "C" {

int open(const char* path, int flags, ...)
{
    mode_t mode = 0;
    if ((flags & (O_CREAT | O_TMPFILE)) != 0) {
        va_list arguments;
        va_start(arguments, flags);
        mode = va_arg(arguments, mode_t);
        va_end(arguments);
    }
    return openTracked(path, flags, mode);
}

int open64(const char* path, int flags, ...) __attribute__((alias("open")));

int close(int descriptor)
{
    Tracker& all = tracker();
    std::shared_ptr<File> last; // destroyed without the mutex
    {
        const std::lock_guard lock(all.mutex);
        const auto found = all.descriptors.find(descriptor);
        if (found != all.descriptors.end()) {
            last = std::move(found->second.file);
            all.descriptors.erase(found);
        }
    }
    return rawClose(descriptor);
}

ssize_t write(int descriptor, const void* bytes, size_t size)
{
    return trackedWrite(descriptor, -1, size, [&] { return syscall(SYS_write, descriptor, bytes, size); });
}

ssize_t writev(int descriptor, const struct iovec* parts, int count)
{
    std::size_t size = 0;
    for (int i = 0; i < count; ++i)
        size += parts[i].iov_len;
    return trackedWrite(descriptor, -1, size, [&] { return syscall(SYS_writev, descriptor, parts, count); });
}

ssize_t pwrite(int descriptor, const void* bytes, size_t size, off_t offset)
{
    return trackedWrite(descriptor, offset, size,
                        [&] { return syscall(SYS_pwrite64, descriptor, bytes, size, offset); });
}

ssize_t pwrite64(int descriptor, const void* bytes, size_t size, off_t offset) __attribute__((alias("pwrite")));

int fsync(int descriptor)
{
    return trackedSync(descriptor, SYS_fsync);
}

int fdatasync(int descriptor)
{
    return trackedSync(descriptor, SYS_fdatasync);
}

int ftruncate(int descriptor, off_t size) noexcept
{
    const Descriptor target = lookup(descriptor);
    return target.file ? truncateTracked(target.file.get(), descriptor, size) : rawTruncate(descriptor, size);
}

int ftruncate64(int descriptor, off_t size) __attribute__((alias("ftruncate")));

int unlink(const char* path) noexcept
{
    const std::string name = trackedName(path);
    if (name.empty())
        return static_cast<int>(syscall(SYS_unlink, path));
    Tracker& all = tracker();
    const std::lock_guard lock(all.mutex);
    forget(path);
    const int rc = static_cast<int>(syscall(SYS_unlink, path));
    const int error = errno;
    if (rc == 0)
        (void)syscall(SYS_unlink, (all.images + name).c_str());
    errno = error;
    return rc;
}

int remove(const char* path) noexcept
{
    const int rc = unlink(path);
    return rc != 0 && errno == EISDIR ? rmdir(path) : rc;
}

int rename(const char* from, const char* to) noexcept
{
    const std::string before = trackedName(from);
    const std::string after = trackedName(to);
    if (before.empty() && after.empty())
        return static_cast<int>(syscall(SYS_rename, from, to));
    if (before.empty() || after.empty()) {
        errno = EXDEV; // nobody moves files in or out; a copy would be right
        return -1;
    }
    Tracker& all = tracker();
    const std::lock_guard lock(all.mutex);
    forget(to);
    struct stat status {};
    const bool known = syscall(SYS_stat, from, &status) == 0;
    const int rc = static_cast<int>(syscall(SYS_rename, from, to));
    if (rc != 0)
        return rc;
    (void)syscall(SYS_rename, (all.images + before).c_str(), (all.images + after).c_str());
    const auto found = known ? all.files.find({status.st_dev, status.st_ino}) : all.files.end();
    if (found != all.files.end()) {
        const std::lock_guard fileLock(found->second->mutex);
        found->second->image = all.images + after;
    }
    return 0;
}

/** Ways to change a file that no image is kept of: nobody uses them on what is tracked, and nobody shall unnoticed. */
int fallocate(int descriptor, int mode, off_t offset, off_t size)
{
    if (lookup(descriptor).file)
        stop("fallocate of a tracked file is not modelled");
    return static_cast<int>(syscall(SYS_fallocate, descriptor, mode, offset, size));
}

ssize_t sendfile(int to, int from, off_t* offset, size_t size) noexcept
{
    if (lookup(to).file)
        stop("sendfile to a tracked file is not modelled");
    return syscall(SYS_sendfile, to, from, offset, size);
}

} // extern "C"
