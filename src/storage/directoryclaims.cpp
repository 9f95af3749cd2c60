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

/** The location of a database file. */
struct Place {
    QByteArray directory; // the canonical path of the last existing one on the file's path
    int missing = 0;      // directories still to be created below it
};

int findPlace(const QByteArray& path, Place* place)
{
    if (EnvironmentPath::canonical(path, &place->directory) == 0) {
        place->directory = parentOf(place->directory);
        return 0;
    }
    if (isLink(path))
        return ENOENT; // dangling: its target is unknown until something creates it
    QByteArray parent = parentOf(path);
    int rc = EnvironmentPath::canonical(parent, &place->directory);
    while (rc == ENOENT) {
        ++place->missing;
        parent = parentOf(parent);
        rc = EnvironmentPath::canonical(parent, &place->directory);
    }
    return rc;
}

/**
 * Calls `look`, an `int(const QByteArray& directory, const struct stat& status, bool wanted)`, for each directory from
 * that of the database file up to `home`, while it returns 0. Those outside of `home` are not wanted, except the first.
 * A file directly in `home` has none. `missing`: how many are still to be created below the first.
 */
template <typename Look> int forEachUpTo(const QByteArray& home, const QByteArray& file, int* missing, Look look)
{
    *missing = 0;
    const QByteArray path = file.startsWith('/') ? file : home + '/' + file;
    if (!file.contains('/') && !isLink(path))
        return 0;
    Place place;
    if (const int rc = findPlace(path, &place))
        return rc;
    *missing = place.missing;
    QByteArray directory = place.directory;
    for (bool first = true; directory != home; first = false) {
        struct stat status {};
        if (::stat(directory.constData(), &status) != 0)
            return errno;
        if (const int rc = look(directory, status, first || isBelow(directory, home)))
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
    int unheld = 0;
    const int rc = forEachUpTo(home, file, descriptors, [&](const QByteArray&, const struct stat& status, bool wanted) {
        unheld += wanted && !holds(status) ? 1 : 0;
        return 0;
    });
    *descriptors += unheld;
    return rc;
}

int DirectoryClaims::claim(const QByteArray& home, const QByteArray& file)
{
    int missing = 0; // unused: these cannot be claimed yet
    return forEachUpTo(home, file, &missing, [&](const QByteArray& directory, const struct stat& status, bool wanted) {
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
