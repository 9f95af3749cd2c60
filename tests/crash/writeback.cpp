/*
 * A library to preload into a program: it keeps what of a directory's files would be there after a loss of power.
 *
 *     CRASH_ENVIRONMENT         an environment's directory, in which Berkeley DB is in charge
 *     CRASH_STRICT_DIRECTORY    a directory above the targets of backups, restores and exports: our own code is in
 * charge CRASH_DURABLE_DIRECTORY   where the durable state is kept (durablestate.h), on the same file system
 *     CRASH_STRICT_NAMES        when set, the environment's names follow the strict rule as well
 *     CRASH_KILL_FILE           while a file of this name exists, synchronisations are counted, of the files and
 *     CRASH_KILL_NAME           directories whose paths hold this; the process is killed at the one with
 *     CRASH_KILL_SYNC           this number, from 1, before it has any effect
 *     CRASH_KILL_REMOVED        while CRASH_KILL_FILE exists, the process is killed when it has removed a file whose
 * path holds this CRASH_IGNORE_SYNC         when set, synchronising has no effect: to see that the tests notice
 *
 * Directories are absolute paths without symbolic links; what lies in their subdirectories is tracked as well. Either
 * may be left out. Several processes may share a state, also at the same time, but each file is for one of them.
 *
 * What is modelled of bytes:
 * - written bytes stay in the page cache, and are lost, until an fsync or fdatasync of their file that began after the
 *   write has returned;
 * - a write through a descriptor opened with O_DSYNC or O_SYNC is durable when it returns, for its own bytes only; in
 *   the strict directory it is not, as nothing of ours relies on that there;
 * - the length of a file is durable as far as its bytes are.
 *
 * And of names: a file or directory that was created, renamed or removed is so durably when its directory has been
 * synchronised, not before; a name in a directory whose own name was lost is lost with it. This is all that POSIX
 * promises. The strict directory follows it, because our code writes there and can be held to it.
 *
 * Berkeley DB never synchronises a directory, not even after it made a log file that commits depend on. It relies on
 * what the journalling file systems do: synchronising a file that was just made, or renamed, writes its name as well.
 * So in the environment's directory a synchronisation of a file makes the name durable that the file has at that
 * moment, and the names of the directories above it up to the environment's. A removal becomes durable by the strict
 * rule.
 *
 * Names are not followed through the calls that change them, of which there are too many, but compared: a directory's
 * durable names are those that it had when it was last synchronised. What has happened between is known by its outcome
 * alone: that a name was made and removed again leaves no trace. No inode number is used twice while the state lasts,
 * see durablestate.h.
 *
 * A kill does not cut a synchronous write off: the system completes the call before the process is gone. So what was
 * under way is noted for the next process, which finds it durable.
 *
 * The disk itself is never waited for: the state is what counts, and a test gets more done between two kills.
 *
 * A kill leaves the state as it was at that moment. It changes within the call that makes something durable, and in the
 * environment while the file takes no writes: so it never holds a byte that a disk could not, and lacks none that a
 * caller counts upon. In the strict directory a file is compared with its image when it is synchronised, whoever wrote
 * it in whichever way.
 *
 * System calls are made directly, so that nothing here depends on the order in which libraries are loaded.
 */

#include "durablestate.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

namespace {

constexpr off_t BlockSize = 4096; // what the page cache writes back at once

/** One file of the environment, whatever it is called and however often it is open. */
struct File {
    std::mutex mutex;        // held while the file or its image changes
    ino_t inode = 0;         // set once
    std::string image{};     // path; set once
    std::set<off_t> dirty{}; // numbers of blocks that differ from the image; guarded by mutex
    bool named = false;      // its present name is known to be durable; guarded by mutex
};

struct Descriptor {
    std::shared_ptr<File> file;
    bool synchronous = false;
};

/** Never destroyed: other threads write until the process has ended. */
struct Tracker {
    std::mutex mutex;        // taken before any file's, so nothing below calls the functions that this library replaces
    std::string environment; // with a slash at the end, or empty; so are the others
    std::string strict;
    std::string state;
    bool strictNames = false;
    bool ignoreSync = false;
    std::map<ino_t, std::shared_ptr<File>> files; // of the environment
    std::unordered_map<int, Descriptor> descriptors;
};

std::string directoryFrom(const char* variable)
{
    const char* path = std::getenv(variable);
    return path == nullptr || *path == '\0' ? std::string() : std::string(path) + '/';
}

Tracker& tracker()
{
    static Tracker* const instance = [] {
        auto* made = new Tracker;
        made->state = directoryFrom("CRASH_DURABLE_DIRECTORY");
        if (!made->state.empty()) {
            made->environment = directoryFrom("CRASH_ENVIRONMENT");
            made->strict = directoryFrom("CRASH_STRICT_DIRECTORY");
        }
        made->strictNames = std::getenv("CRASH_STRICT_NAMES") != nullptr;
        made->ignoreSync = std::getenv("CRASH_IGNORE_SYNC") != nullptr;
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

bool isBelow(const std::string& path, const std::string& directory)
{
    return !directory.empty() && path.starts_with(directory);
}

/** The tracked directory that a path leads to or into; empty when none. */
std::string rootOf(const std::string& path)
{
    for (const std::string& root : {tracker().environment, tracker().strict}) {
        if (isBelow(path + '/', root))
            return root;
    }
    return {};
}

/** The path that a descriptor's file has now; with other words behind it when that was removed. */
std::string pathOf(int descriptor)
{
    const std::string self = "/proc/self/fd/" + std::to_string(descriptor);
    char path[4096];
    const ssize_t length = syscall(SYS_readlink, self.c_str(), path, sizeof path);
    return length > 0 ? std::string(path, static_cast<std::size_t>(length)) : std::string();
}

/** A path as a call names it, relative to a directory's descriptor or, as most calls have it, to AT_FDCWD. */
std::string absolute(int directory, const char* path)
{
    if (path == nullptr || *path == '/')
        return path == nullptr ? std::string() : path;
    if (directory != AT_FDCWD)
        return pathOf(directory) + '/' + path;
    char current[4096];
    const ssize_t length = syscall(SYS_readlink, "/proc/self/cwd", current, sizeof current);
    return length > 0 ? std::string(current, static_cast<std::size_t>(length)) + '/' + path : std::string(path);
}

std::string parentOf(const std::string& path)
{
    return path.substr(0, path.rfind('/'));
}

std::string nameOf(const std::string& path)
{
    return path.substr(path.rfind('/') + 1);
}

/** False when nothing is there; links are not followed. */
bool statusOf(const std::string& path, struct stat* status)
{
    return syscall(SYS_newfstatat, AT_FDCWD, path.c_str(), status, AT_SYMLINK_NOFOLLOW) == 0;
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

std::string pendingPath(const File& file)
{
    return tracker().state + DurableState::pending(file.inode);
}

/** What a process that was killed had begun has been completed by the system. True when there was anything. */
bool completePending(int file, int image, const std::string& path)
{
    const int noted = rawOpen(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (noted < 0)
        return false;
    Pending pending{};
    const bool isPending = syscall(SYS_pread64, noted, &pending, sizeof pending, 0) == sizeof pending;
    if (isPending)
        copyRange(file, image, pending.begin, pending.end);
    rawClose(noted);
    (void)syscall(SYS_unlink, path.c_str());
    return isPending;
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

/** Makes a file known of which nothing is durable so far; one that is known stays as it is. The image's path. */
std::string knownImage(const std::string& path, ino_t inode)
{
    const std::string image = tracker().state + DurableState::bytesOf(inode);
    const int made = rawOpen(image.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (made < 0 && errno == EEXIST)
        return image;
    const std::string held = tracker().state + DurableState::held(inode);
    if (made < 0 || (syscall(SYS_link, path.c_str(), held.c_str()) != 0 && errno != EEXIST))
        stop("image of " + path);
    rawClose(made);
    return image;
}

/** Lets a name lead durably to an inode, in place of whatever it led to. */
void makeNameDurable(ino_t directory, const std::string& name, char kind, ino_t inode)
{
    const std::string& state = tracker().state;
    const std::string names = state + DurableState::namesOf(directory);
    const std::string fresh = state + "fresh-" + std::to_string(getpid());
    if (syscall(SYS_mkdir, names.c_str(), 0700) != 0 && errno != EEXIST)
        stop(names);
    (void)syscall(SYS_unlink, fresh.c_str());
    if (syscall(SYS_symlink, DurableState::entry(kind, inode).c_str(), fresh.c_str()) != 0 ||
        syscall(SYS_rename, fresh.c_str(), (names + '/' + name).c_str()) != 0)
        stop(names + '/' + name);
}

std::vector<std::string> namesIn(const std::string& directory)
{
    std::vector<std::string> names;
    DIR* const list = opendir(directory.c_str());
    if (list == nullptr)
        return names;
    while (const dirent* entry = readdir(list)) {
        if (std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0)
            names.emplace_back(entry->d_name);
    }
    closedir(list);
    return names;
}

/** Makes the name durable that something has at the moment. The tracker's mutex is held. */
void makeNameDurable(const std::string& path)
{
    struct stat status {};
    struct stat parent {};
    if (!statusOf(path, &status) || !statusOf(parentOf(path), &parent))
        return;
    if (S_ISREG(status.st_mode)) {
        (void)knownImage(path, status.st_ino);
        makeNameDurable(parent.st_ino, nameOf(path), DurableState::FileKind, status.st_ino);
    } else if (S_ISDIR(status.st_mode)) {
        makeNameDurable(parent.st_ino, nameOf(path), DurableState::DirectoryKind, status.st_ino);
    }
}

/** A directory's names are durable as they are. The tracker's mutex is held. */
void synchroniseNames(const std::string& directory)
{
    struct stat status {};
    if (tracker().ignoreSync || !statusOf(directory, &status))
        return;
    const std::vector<std::string> present = namesIn(directory);
    for (const std::string& name : present)
        makeNameDurable(directory + '/' + name);
    const std::string names = tracker().state + DurableState::namesOf(status.st_ino) + '/';
    for (const std::string& name : namesIn(names)) {
        if (std::find(present.begin(), present.end(), name) == present.end())
            (void)syscall(SYS_unlink, (names + name).c_str());
    }
}

/**
 * The names that lead from the environment's directory to a file that was synchronised. A name that it had before, and
 * that leads nowhere now, has gone from the disk by the same.
 */
void synchroniseNameOf(const std::string& path)
{
    const std::string& environment = tracker().environment;
    struct stat status {};
    struct stat parent {};
    if (!isBelow(path, environment) || !statusOf(path, &status) || !statusOf(parentOf(path), &parent))
        return; // it was removed
    for (std::string above = path; above.size() > environment.size(); above = parentOf(above))
        makeNameDurable(above);
    const std::string names = tracker().state + DurableState::namesOf(parent.st_ino) + '/';
    const std::string entry = DurableState::entry(DurableState::FileKind, status.st_ino);
    for (const std::string& name : namesIn(names)) {
        char target[64];
        const ssize_t length = syscall(SYS_readlink, (names + name).c_str(), target, sizeof target);
        if (length > 0 && entry == std::string_view(target, static_cast<std::size_t>(length)) &&
            !statusOf(parentOf(path) + '/' + name, &parent))
            (void)syscall(SYS_unlink, (names + name).c_str());
    }
}

/** The entry of a file of the environment, made when it is opened first by this process. */
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
    if (completePending(reader, image, pendingPath(*entry)) && !all.strictNames)
        synchroniseNameOf(path);
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
    const int noted = rawOpen(pendingPath(*target.file).c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
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
void dieIfAsked(const std::string& path)
{
    static const char* const trigger = std::getenv("CRASH_KILL_FILE");
    static const char* const name = std::getenv("CRASH_KILL_NAME");
    static const char* const number = std::getenv("CRASH_KILL_SYNC");
    static std::atomic<int> count{0};
    if (trigger != nullptr && name != nullptr && number != nullptr && path.find(name) != std::string::npos &&
        syscall(SYS_access, trigger, F_OK) == 0 && ++count == std::atoi(number))
        (void)kill(getpid(), SIGKILL);
}

/** Removes a file, and is killed then if that is asked for. */
int removeFile(int base, const char* name)
{
    static const char* const trigger = std::getenv("CRASH_KILL_FILE");
    static const char* const removed = std::getenv("CRASH_KILL_REMOVED");
    const int rc = static_cast<int>(syscall(SYS_unlinkat, base, name, 0));
    if (rc == 0 && trigger != nullptr && removed != nullptr &&
        absolute(base, name).find(removed) != std::string::npos && syscall(SYS_access, trigger, F_OK) == 0)
        (void)kill(getpid(), SIGKILL);
    return rc;
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

/** What a synchronisation of a file of the environment means for its name; no mutex is held. */
void fileSynchronised(File* file, int descriptor)
{
    Tracker& all = tracker();
    if (all.strictNames || all.ignoreSync)
        return;
    {
        const std::lock_guard lock(file->mutex);
        if (file->named)
            return;
    }
    const std::lock_guard lock(all.mutex);
    synchroniseNameOf(pathOf(descriptor));
    const std::lock_guard fileLock(file->mutex);
    file->named = true;
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
    const bool synchronous = target.synchronous && !tracker().ignoreSync;
    ssize_t written = 0;
    {
        const std::lock_guard lock(target.file->mutex);
        const off_t position = offset < 0 ? writePosition(descriptor) : offset;
        written = synchronous ? writeSynchronously(target, descriptor, position, size, write) : write();
        if (!synchronous && written > 0)
            markDirty(target.file.get(), position, position + written);
    }
    if (synchronous && written > 0)
        fileSynchronised(target.file.get(), descriptor);
    return written;
}

/** For a file outside the environment: its image becomes what the file is. The tracker's mutex is held. */
void synchroniseByComparison(int descriptor, const std::string& path, ino_t inode)
{
    struct stat named {};
    if (tracker().ignoreSync || !statusOf(path, &named) || named.st_ino != inode)
        return; // it was removed
    const std::string imagePath = knownImage(path, inode);
    const std::string self = "/proc/self/fd/" + std::to_string(descriptor);
    const int reader = rawOpen(self.c_str(), O_RDONLY | O_CLOEXEC);
    const int image = rawOpen(imagePath.c_str(), O_RDWR | O_CLOEXEC);
    if (reader < 0 || image < 0)
        stop("image of " + path);
    for (const off_t block : differingBlocks(reader, image))
        copyRange(reader, image, block * BlockSize, (block + 1) * BlockSize);
    if (rawTruncate(image, sizeOf(reader)) != 0)
        stop("length of an image");
    rawClose(reader);
    rawClose(image);
}

int trackedSync(int descriptor, long systemCall)
{
    if (const Descriptor target = lookup(descriptor); target.file) {
        dieIfAsked(pathOf(descriptor));
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

/** Keeps a directory's inode from being used again: an empty one moves into the state in place of going. */
int removeDirectory(int base, const char* name)
{
    const std::string path = absolute(base, name);
    struct stat status {};
    if (rootOf(path).empty() || !statusOf(path, &status) || !S_ISDIR(status.st_mode) || !namesIn(path).empty())
        return static_cast<int>(syscall(SYS_unlinkat, base, name, AT_REMOVEDIR));
    const std::string held = tracker().state + DurableState::held(status.st_ino);
    return static_cast<int>(syscall(SYS_rename, path.c_str(), held.c_str()));
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

int rmdir(const char* path) noexcept
{
    return removeDirectory(AT_FDCWD, path);
}

int unlink(const char* path) noexcept
{
    return removeFile(AT_FDCWD, path);
}

int remove(const char* path) noexcept
{
    const int rc = removeFile(AT_FDCWD, path);
    return rc != 0 && errno == EISDIR ? removeDirectory(AT_FDCWD, path) : rc;
}

int unlinkat(int directory, const char* name, int flags) noexcept
{
    return (flags & AT_REMOVEDIR) != 0 ? removeDirectory(directory, name) : removeFile(directory, name);
}

int rename(const char* from, const char* to) noexcept
{
    const std::string before = absolute(AT_FDCWD, from);
    const std::string after = absolute(AT_FDCWD, to);
    if (rootOf(before).empty() && rootOf(after).empty())
        return static_cast<int>(syscall(SYS_rename, from, to));
    if (parentOf(before) != parentOf(after))
        stop("a move between directories is not modelled: " + before + " to " + after);
    Tracker& all = tracker();
    const std::lock_guard lock(all.mutex);
    struct stat status {};
    struct stat replaced {};
    const bool replacesDirectory = statusOf(before, &status) && S_ISDIR(status.st_mode) && statusOf(after, &replaced) &&
                                   S_ISDIR(replaced.st_mode) && replaced.st_ino != status.st_ino &&
                                   namesIn(after).empty();
    int rc = 0;
    if (replacesDirectory) {
        rc = static_cast<int>(syscall(SYS_renameat2, AT_FDCWD, from, AT_FDCWD, to, RENAME_EXCHANGE));
        if (rc == 0)
            rc = removeDirectory(AT_FDCWD, from); // the one that was replaced
    } else {
        rc = static_cast<int>(syscall(SYS_rename, from, to));
    }
    if (rc != 0)
        return rc;
    if (const auto found = all.files.find(status.st_ino); found != all.files.end()) {
        const std::lock_guard fileLock(found->second->mutex);
        found->second->named = false;
    }
    return 0;
}

/** Like rename(), but it replaces nothing. */
int renameat2(int fromDirectory, const char* from, int toDirectory, const char* to, unsigned flags) noexcept
{
    const std::string before = absolute(fromDirectory, from);
    const std::string after = absolute(toDirectory, to);
    if ((!rootOf(before).empty() || !rootOf(after).empty()) &&
        (parentOf(before) != parentOf(after) || flags != RENAME_NOREPLACE || isBelow(before, tracker().environment)))
        stop("this renameat2 is not modelled: " + before + " to " + after);
    return static_cast<int>(syscall(SYS_renameat2, fromDirectory, from, toDirectory, to, flags));
}

/** Ways to change a file that no image is kept of: nobody uses them on what is tracked, and nobody shall unnoticed. */
int fallocate(int descriptor, int mode, off_t offset, off_t size)
{
    if (lookup(descriptor).file)
        stop("fallocate of a tracked file is not modelled");
    return static_cast<int>(syscall(SYS_fallocate, descriptor, mode, offset, size));
}

/** Too much for one call: nobody relies on it, and nobody shall unnoticed. */
int syncfs(int descriptor) noexcept
{
    if (!rootOf(pathOf(descriptor)).empty())
        stop("syncfs of what is tracked is not modelled");
    return static_cast<int>(syscall(SYS_syncfs, descriptor));
}

ssize_t sendfile(int to, int from, off_t* offset, size_t size) noexcept
{
    if (lookup(to).file)
        stop("sendfile to a tracked file is not modelled");
    return syscall(SYS_sendfile, to, from, offset, size);
}

} // extern "C"
