#include "storage/environmentdirectories.h"

#include "storage/environmentfiles.h"
#include "storage/environmentpath.h"

#include <algorithm>
#include <cerrno>
#include <set>
#include <system_error>

#include <sys/stat.h>

namespace fs = std::filesystem;

int EnvironmentDirectories::hold(const QByteArray& home, std::string* complaint)
{
    if (const int rc = holdHome(home))
        return rc;
    if (const int rc = EnvironmentConfig::read(home_.toStdString(), &config_)) {
        *complaint = config_.complaint;
        return rc;
    }
    return holdConfigured();
}

int EnvironmentDirectories::holdHome(const QByteArray& home)
{
    // Berkeley DB would take an empty name for the working directory, and a zero byte would truncate the name: the
    // client named neither directory.
    if (home.isEmpty() || home.contains('\0'))
        return ENOENT;
    if (const int rc = lock_.lock(home.constData()))
        return rc;
    if (const int rc = EnvironmentPath::canonical(home, &home_))
        return rc;
    return lock_.isAt(home_.constData()) ? 0 : ESTALE; // a link was switched in between
}

/** `*isNew`: it was not yet locked, under any path. */
int EnvironmentDirectories::holdOnce(const fs::path& directory, bool* isNew)
{
    struct stat status {};
    if (::stat(directory.c_str(), &status) != 0)
        return errno;
    const auto isHeld = [&](const Base::DirectoryLock& lock) { return lock.is(status); };
    *isNew = !isHeld(lock_) && std::none_of(configured_.cbegin(), configured_.cend(), isHeld);
    if (!*isNew)
        return 0;
    const int rc = configured_.emplace_back().lock(directory);
    return rc == EWOULDBLOCK ? EBUSY : rc;
}

bool EnvironmentDirectories::lack(const QByteArray& name) const
{
    const auto lacks = [&](const Base::DirectoryLock& lock) { return lock.lacks(name.constData()); };
    return lacks(lock_) && std::all_of(configured_.cbegin(), configured_.cend(), lacks);
}

/**
 * Locks the directories that DB_CONFIG names like the home: two environments with one log would overwrite each other's
 * records, and with one data directory, neither log would have all changes.
 */
int EnvironmentDirectories::holdConfigured()
{
    bool isNew = false;
    bool isForeign = false;
    if (const int rc = holdOnce(config_.logDirectory, &isNew))
        return rc;
    // If it holds more than log files, it is the home of another, closed environment.
    if (isNew) {
        if (const int rc = EnvironmentFiles::findDatabaseIn(config_.logDirectory, &isForeign))
            return rc;
    }
    for (const fs::path& directory : config_.dataDirectories) {
        if (const int rc = holdOnce(directory, &isNew))
            return rc;
        bool hasLog = false;
        if (isNew) {
            if (const int rc = EnvironmentFiles::findLog(directory, &hasLog))
                return rc;
        }
        isForeign = isForeign || hasLog;
        QByteArray canonical;
        if (const int rc = EnvironmentPath::canonical(QByteArray::fromStdString(directory.string()), &canonical))
            return rc;
        databases_.push_back(canonical);
    }
    return isForeign ? EBUSY : 0;
}

std::vector<fs::path> EnvironmentDirectories::others() const
{
    std::set<fs::path> all;
    for (const QByteArray& directory : databases_)
        all.insert(directory.toStdString());
    std::error_code error;
    all.insert(fs::canonical(logs(), error)); // it is locked, so it is there
    all.erase(home_.toStdString());
    return {all.begin(), all.end()};
}

int EnvironmentDirectories::check(int most, bool* hasLog, int* databases) const
{
    const fs::path homePath = home_.toStdString();
    if (const int rc = EnvironmentFiles::checkWritable(homePath))
        return rc;
    if (logs() != homePath) {
        if (const int rc = EnvironmentFiles::checkWritable(logs()))
            return rc;
    }
    if (EnvironmentFiles::isUnfinishedCopy(homePath))
        return EBUSY; // it has only a part of the tables, and would look complete
    if (const int rc = EnvironmentFiles::findLogIn(logs(), hasLog))
        return rc;
    std::vector<fs::path> directories{homePath};
    for (const QByteArray& directory : databases_) {
        if (directory != home_)
            directories.emplace_back(directory.toStdString());
    }
    *databases = 0;
    for (const fs::path& directory : directories) {
        int count = 0;
        bool logged = false;
        if (const int rc = *hasLog ? EnvironmentFiles::countDatabases(directory, most - *databases, &count)
                                   : EnvironmentFiles::findLoggedDatabase(directory, &logged))
            return rc;
        if (logged)
            return EBUSY; // a new log would start behind their LSNs, and recovery from their own would undo it
        *databases += count;
    }
    return 0;
}
