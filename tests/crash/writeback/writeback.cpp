/*
 * A library to preload into a program. It tracks what would be left of a directory's files after a power failure.
 *
 *     CRASH_ENVIRONMENT         the directory of an environment, where Berkeley DB writes
 *
 *     CRASH_STRICT_DIRECTORY    the directory that contains the targets of backups, restores and exports, where our
 *                               own code writes
 *
 *     CRASH_DURABLE_DIRECTORY   where the durable state is kept (durablestate.h), on the same file system
 *
 *     CRASH_STRICT_NAMES        when set, the environment's names follow the strict rule as well
 *
 *     CRASH_SLOW_LOG            how long the disk takes for each synchronisation of the environment's log, in
 *                               microseconds: what was committed is not durable for that long
 *
 *     CRASH_KILL_FILE           while a file of this name exists, the synchronisations of files and directories are
 *     CRASH_KILL_NAME           counted whose paths contain this name; at the one with
 *     CRASH_KILL_SYNC           this number, from 1, the process is killed before it has any effect
 *
 *     CRASH_KILL_REMOVED        while CRASH_KILL_FILE exists, the process is killed when it has removed a file whose
 *                               path contains this
 *
 *     CRASH_FAIL_FILE           while a file of this name exists, the syncs and synchronous writes of the environment's
 *     CRASH_FAIL_NAME           files fail whose paths contain this name; those of directories are taken to end in "/."
 *
 *     CRASH_IGNORE_SYNC         when set, synchronisation has no effect: shows that the tests notice
 *
 * Directories are absolute paths without symbolic links; their subdirectories are tracked as well. Either may be
 * missing. Several processes may share a state, even at the same time, but only one of them may use a file.
 *
 * The model for bytes:
 * - Written bytes stay in the page cache, and are lost, until an fsync or fdatasync of their file returns that began
 *   after the write.
 * - A write through a descriptor opened with O_DSYNC or O_SYNC is durable when it returns, for its own bytes only. In
 *   the strict directory it is not, as none of our code relies on that there.
 * - The length of a file is durable as far as its bytes are.
 * - After a sync that fails, what it should have written stays in the page cache, but no later sync writes it, unless
 * it is written to the file again.
 *
 * The model for names: the creation, renaming or removal of a file or directory becomes durable when its directory is
 * synchronised, not before; a name in a directory whose own name is lost is lost with it. POSIX promises no more than
 * this. The strict directory follows this rule, because our own code writes there and has to comply.
 *
 * Berkeley DB never synchronises a directory, not even after creating a log file that commits depend on. It relies on
 * what journalling file systems do: synchronising a file that was just created or renamed writes its name as well. So
 * in the environment's directory, a synchronisation of a file makes its current name durable, and the names of the
 * directories above it up to the environment's. Removals become durable by the strict rule.
 *
 * There are too many calls that change names to follow them all. Instead, the names in a directory are compared when it
 * is synchronised, and become its durable names. Only the outcome counts: a name that was created and removed in
 * between leaves no trace. No inode number is reused while the state exists, see durablestate.h.
 *
 * A kill does not interrupt a synchronous write: the system completes the call before the process is gone. So a write
 * in progress is noted, and the next process makes it durable.
 *
 * Nothing waits for the real disk, and for none at all without CRASH_SLOW_LOG: only the state matters, and a test gets
 * more done between two kills.
 *
 * A kill leaves the state as it is at that moment. The state changes within the call that makes something durable, and
 * in the environment while the file takes no writes. So it never holds a byte that a disk could not, and lacks none
 * that a caller relies on. In the strict directory a file is compared with its image when it is synchronised, whoever
 * wrote to it and how.
 *
 * System calls are made directly, so that nothing here depends on the order in which libraries are loaded.
 */
#include "writeback/rawcalls.h"
#include "writeback/renames.h"
#include "writeback/trackedfiles.h"
#include "writeback/tracker.h"

#include <cerrno>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include <fcntl.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

using namespace WriteBack;

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
    std::shared_ptr<File> last; // destroyed after the mutex is unlocked
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
    return renameTracked(from, to);
}

int renameat2(int fromDirectory, const char* from, int toDirectory, const char* to, unsigned flags) noexcept
{
    return renameTrackedAt(fromDirectory, from, toDirectory, to, flags);
}

/** These would change files but not their images: nothing may use them on tracked files, so they abort. */
int fallocate(int descriptor, int mode, off_t offset, off_t size)
{
    if (lookup(descriptor).file)
        stop("fallocate of a tracked file is not modelled");
    return static_cast<int>(syscall(SYS_fallocate, descriptor, mode, offset, size));
}

/** Not modelled either, for the same reason. */
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
