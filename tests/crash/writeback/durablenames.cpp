#include "writeback/durablenames.h"

#include "durablestate.h"
#include "writeback/images.h"
#include "writeback/rawcalls.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <string_view>
#include <vector>

#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace WriteBack {

namespace {

/** Makes a name lead durably to an inode, whatever it led to before. */
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

/** Makes the name at the end of a path durable, as it is at the moment. */
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

} // namespace

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

} // namespace WriteBack
