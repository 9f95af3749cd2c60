#include "storage/directoryclaims.h"

#include "storage/environmentfiles.h"
#include "storage/environmentpath.h"

#include <algorithm>
#include <cerrno>
#include <utility>

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

/** Where a database file lies. */
struct Place {
    QByteArray directory; // the last one on the way to the file that is there; its canonical path
    int missing = 0;      // directories that are still to be made below it
};

int findPlace(const QByteArray& path, Place* place)
{
    if (canonicalPath(path, &place->directory) == 0) {
        place->directory = parentOf(place->directory);
        return 0;
    }
    if (isLink(path))
        return ENOENT; // to somewhere where nothing is yet: who knows what will be there
    QByteArray parent = parentOf(path);
    int rc = canonicalPath(parent, &place->directory);
    while (rc == ENOENT) {
        ++place->missing;
        parent = parentOf(parent);
        rc = canonicalPath(parent, &place->directory);
    }
    return rc;
}

QByteArray pathOf(const QByteArray& home, const QByteArray& file)
{
    return file.startsWith('/') ? file : home + '/' + file;
}

/** True for a file right in `home`, for which nothing is claimed. */
bool isInHome(const QByteArray& home, const QByteArray& file)
{
    return !file.contains('/') && !isLink(pathOf(home, file));
}

/**
 * Calls `look`, an `int(const QByteArray& directory, bool wanted)`, for each directory from `directory` up to `home` as
 * long as it returns 0. Those outside of `home` are not wanted, save for the first.
 */
template <typename Look> int forEachUpTo(const QByteArray& home, QByteArray directory, Look look)
{
    for (bool first = true; directory != home; first = false) {
        if (const int rc = look(directory, first || isBelow(directory, home)))
            return rc;
        if (directory == "/")
            break;
        directory = parentOf(directory);
    }
    return 0;
}

} // namespace

bool DirectoryClaims::holds(const struct stat& status) const
{
    return std::any_of(held_.cbegin(), held_.cend(), [&](const auto& lock) { return lock.is(status); });
}

int DirectoryClaims::count(const QByteArray& home, const QByteArray& file, int* descriptors) const
{
    *descriptors = 0;
    if (isInHome(home, file))
        return 0;
    Place place;
    if (const int rc = findPlace(pathOf(home, file), &place))
        return rc;
    *descriptors = place.missing;
    return forEachUpTo(home, place.directory, [&](const QByteArray& directory, bool wanted) {
        struct stat status {};
        if (::stat(directory.constData(), &status) != 0)
            return errno;
        if (wanted && !holds(status))
            ++*descriptors;
        return 0;
    });
}

int DirectoryClaims::claim(const QByteArray& home, const QByteArray& file)
{
    if (isInHome(home, file))
        return 0;
    Place place;
    if (const int rc = findPlace(pathOf(home, file), &place))
        return rc;
    return forEachUpTo(home, place.directory, [&](const QByteArray& directory, bool wanted) {
        struct stat status {};
        if (::stat(directory.constData(), &status) != 0)
            return errno;
        if (wanted && !holds(status)) {
            Base::DirectoryLock lock;
            if (const int rc = lock.lock(directory.constData()))
                return rc == EWOULDBLOCK ? EBUSY : rc;
            held_.push_back(std::move(lock));
        }
        bool hasLog = false;
        if (const int rc = EnvironmentFiles::findLog(directory.toStdString(), &hasLog))
            return rc;
        return hasLog ? EBUSY : 0;
    });
}
