#include "storage/databaseopening.h"

#include "storage/databasefiles.h"
#include "storage/environmentdirectories.h"

#include <cerrno>

#include <sys/stat.h>

namespace {

/**
 * Whether Berkeley DB may be let near a database file: it waits for the other end of a FIFO, and removes links to what
 * it cannot open. `isThere` is set when there is such a file.
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
    // Missing directories are made and claimed before there is a file in them, which could not be taken back.
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

/** `descriptors`: those that the claims are going to take. */
int DatabaseOpening::look(BDBEnv* env, const QByteArray& file, bool* isThere, int* descriptors) const
{
    if (!directories_.isInPlace())
        return ESTALE; // moved away, and what is there may be an environment as well
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
