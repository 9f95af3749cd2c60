#include "storage/directoryclaims.h"

#include "storage/environmentfiles.h"
#include "storage/environmentpath.h"

#include <algorithm>
#include <cerrno>

#include <sys/stat.h>

namespace {

QByteArray parentOf(const QByteArray& path)
{
    const qsizetype slash = path.lastIndexOf('/');
    return slash > 0 ? path.first(slash) : QByteArray("/");
}

bool isBelow(const QByteArray& path, const QByteArray& directory)
{
    return directory == "/" || path.startsWith(directory + '/');
}

bool isLink(const QByteArray& path)
{
    struct stat status {};
    return ::lstat(path.constData(), &status) == 0 && S_ISLNK(status.st_mode);
}

/** The directory in which `path` lies or, when its directories are still to be made, the last one that is there. */
int directoryOf(const QByteArray& path, QByteArray* directory)
{
    if (canonicalPath(path, directory) == 0) {
        *directory = parentOf(*directory);
        return 0;
    }
    if (isLink(path))
        return ENOENT; // to somewhere where nothing is yet: who knows what will be there
    QByteArray parent = parentOf(path);
    int rc = canonicalPath(parent, directory);
    while (rc == ENOENT) {
        parent = parentOf(parent);
        rc = canonicalPath(parent, directory);
    }
    return rc;
}

} // namespace

int DirectoryClaims::claim(const QByteArray& home, const QByteArray& file)
{
    const QByteArray path = file.startsWith('/') ? file : home + '/' + file;
    if (!file.contains('/') && !isLink(path))
        return 0;
    QByteArray directory;
    if (const int rc = directoryOf(path, &directory))
        return rc;
    bool claimed = false;
    for (; directory != home; directory = parentOf(directory)) {
        const bool wanted = !claimed || isBelow(directory, home);
        struct stat status {};
        if (::stat(directory.constData(), &status) != 0)
            return errno;
        const auto isHeld = [&](const Base::DirectoryLock& lock) { return lock.is(status); };
        if (wanted && std::none_of(held_.cbegin(), held_.cend(), isHeld)) {
            Base::DirectoryLock lock;
            if (const int rc = lock.lock(directory.constData()))
                return rc == EWOULDBLOCK ? EBUSY : rc;
            held_.push_back(std::move(lock));
        }
        claimed = true;
        bool hasLog = false;
        if (const int rc = EnvironmentFiles::findLog(directory.toStdString(), &hasLog))
            return rc;
        if (hasLog)
            return EBUSY;
        if (directory == "/")
            break;
    }
    return 0;
}
