#ifndef QUORVA_STORAGE_ENVIRONMENTDIRECTORIES_H
#define QUORVA_STORAGE_ENVIRONMENTDIRECTORIES_H

#include "base/directorylock.h"
#include "storage/environmentconfig.h"

#include <QByteArray>

#include <filesystem>
#include <string>
#include <vector>

/**
 * The directories that one environment has to itself: its home, and those that its DB_CONFIG names. Each is held with
 * an exclusive `flock` for as long as the object lives.
 *
 * Threads: hold() and check() by the one that opens the environment, the rest by any afterwards.
 */
class EnvironmentDirectories {
public:
    /**
     * Holds the directories of the environment in `home`. A link is followed here once and never again. 0 or an errno
     * value; EWOULDBLOCK when somebody else holds the home; EBUSY when another environment holds what DB_CONFIG names,
     * or has its files there; EINVAL, with `complaint` set where it is a line, for a DB_CONFIG that Berkeley DB must
     * not see.
     */
    [[nodiscard]] int hold(const QByteArray& home, std::string* complaint);

    /**
     * Whether they can be an environment at all (see BDBEnv::open() for the results); makes no file. `databases`: how
     * many files recovery may have to open, counted up to `most`.
     */
    [[nodiscard]] int check(int most, bool* hasLog, int* databases) const;

    /** The canonical path of the home. */
    const QByteArray& home() const { return home_; }

    /** False when the home has been moved away since. */
    bool isInPlace() const { return lock_.isAt(home_.constData()); }

    const std::filesystem::path& logs() const { return config_.logDirectory; }

    /** Where database files are looked for, in this order; canonical paths. */
    const std::vector<QByteArray>& databases() const { return databases_; }

    /** Where database files are made. */
    const std::filesystem::path& created() const { return config_.createDirectory; }

private:
    int holdHome(const QByteArray& home);
    int holdConfigured();
    int holdOnce(const std::filesystem::path& directory, bool* isNew);

    Base::DirectoryLock lock_; // of the home
    QByteArray home_;
    EnvironmentConfig config_;
    std::vector<Base::DirectoryLock> configured_; // of what DB_CONFIG names, save for the home
    std::vector<QByteArray> databases_;
};

#endif
