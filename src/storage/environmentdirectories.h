#ifndef QUORVA_STORAGE_ENVIRONMENTDIRECTORIES_H
#define QUORVA_STORAGE_ENVIRONMENTDIRECTORIES_H

#include "base/directorylock.h"
#include "storage/environmentconfig.h"

#include <QByteArray>

#include <filesystem>
#include <string>
#include <vector>

/**
 * The directories that one environment owns: its home, and those that its DB_CONFIG names. Each is locked with an
 * exclusive `flock` for the lifetime of the object.
 *
 * Threads: hold() and check() on the thread that opens the environment, the rest on any thread afterwards.
 */
class EnvironmentDirectories {
public:
    /**
     * Locks the directories of the environment in `home`. A link is resolved here, once. 0 or an errno value;
     * EWOULDBLOCK when the home is locked; EBUSY when a directory that DB_CONFIG names is locked by another
     * environment, or has its files; EINVAL, with `complaint` set for a bad line, for a DB_CONFIG that Berkeley DB must
     * not see.
     */
    [[nodiscard]] int hold(const QByteArray& home, std::string* complaint);

    /**
     * Checks that they can be an environment at all (see BDBEnv::open() for the results); creates no file. `databases`:
     * the number of files that recovery may have to open, counted up to `most`.
     */
    [[nodiscard]] int check(int most, bool* hasLog, int* databases) const;

    /** The canonical path of the home. */
    const QByteArray& home() const { return home_; }

    /** False when the home has been moved away since. */
    bool isInPlace() const { return lock_.isAt(home_.constData()); }

    /** True when none of them has the file `name`, which is not in a directory below. */
    bool lack(const QByteArray& name) const;

    const std::filesystem::path& logs() const { return config_.logDirectory; }

    bool removesUnneededLogs() const { return config_.removesUnneededLogs; }
    bool preparesLogFiles() const { return config_.preparesLogFiles; }

    /** The search order for database files; canonical paths. */
    const std::vector<QByteArray>& databases() const { return databases_; }

    /** The directories that DB_CONFIG names, without the home; canonical paths. */
    std::vector<std::filesystem::path> others() const;

    /** Where database files are created. */
    const std::filesystem::path& created() const { return config_.createDirectory; }

private:
    int holdHome(const QByteArray& home);
    int holdConfigured();
    int holdOnce(const std::filesystem::path& directory, bool* isNew);

    Base::DirectoryLock lock_; // of the home
    QByteArray home_;
    EnvironmentConfig config_;
    std::vector<Base::DirectoryLock> configured_; // of what DB_CONFIG names, except the home
    std::vector<QByteArray> databases_;
};

#endif
