#include "storage/databaseopening.h"

#include "storage/databasefiles.h"
#include "storage/environmentdirectories.h"

#include <cerrno>

#include <sys/stat.h>

namespace {

/**
 * Checks that Berkeley DB may open a database file: it would block on a FIFO, and remove a link whose target it cannot
 * open. `isThere` is set if the file exists.
 */
int checkFile(const QByteArray& path, bool* isThere)
{
    struct stat status {};
    if (::stat(path.constData(), &status) != 0)
        return errno == ENOENT ? 0 : errno;
    if (S_ISDIR(status.st_mode))
        return EISDIR;
    if (!S_ISREG(status.st_mode))
        return EINVAL;
    *isThere = true;
    return 0;
}

} // namespace

int DatabaseOpening::prepare(BDBEnv* env, const QByteArray& file, bool create)
{
    bool isThere = false;
    int descriptors = 0;
    if (const int rc = look(env, file, &isThere, &descriptors))
        return rc;
    reserve_.emplace(descriptors);
    if (!reserve_->available())
        return EMFILE;
    // Missing directories are created and claimed before a file, which could not be undone, is created in them.
    if (!isThere && create) {
        if (const int rc = made_.make(QByteArray::fromStdString(directories_.created().string()), file))
            return rc;
    }
    for (const QByteArray& directory : directories_.databases()) {
        if (const int rc = claims_.claim(directory, file))
            return rc;
    }
    return 0;
}

/** `descriptors`: the number that the claims will use. */
int DatabaseOpening::look(BDBEnv* env, const QByteArray& file, bool* isThere, int* descriptors) const
{
    if (!directories_.isInPlace())
        return ESTALE; // moved away; another environment may be in its place
    bool isSecond = false;
    if (const int rc = DatabaseFiles::findSecondName(env, file.toStdString(), &isSecond))
        return rc;
    if (isSecond)
        return ELOOP;
    for (const QByteArray& directory : directories_.databases()) {
        if (const int rc = checkFile(directory + '/' + file, isThere))
            return rc;
        int claimed = 0;
        if (const int rc = claims_.count(directory, file, &claimed))
            return rc;
        *descriptors += claimed;
    }
    return 0;
}

void DatabaseOpening::keep()
{
    attempt_.keep();
    made_.keep();
}
