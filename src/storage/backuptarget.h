#ifndef QUORVA_STORAGE_BACKUPTARGET_H
#define QUORVA_STORAGE_BACKUPTARGET_H

#include "base/directorylock.h"
#include "format/backuplist.h"
#include "storage/databasefiles.h"

#include <QByteArray>

#include <filesystem>

class BDBEnv;

/**
 * The directory that a backup writes to, locked with an exclusive `flock`, like the home of an open environment, for
 * the lifetime of the object. Refuses a directory in which data would be lost, and leaves a refused directory
 * unchanged.
 *
 * Results of both open functions: 0; ENOENT for an empty name, or one with a zero byte; EBUSY for the home of an open
 * environment, for a path within the home of `env`, and while another backup writes there; ENOTEMPTY, with a WARN line,
 * if it holds anything but a backup of `env`; other errno values and Berkeley DB codes.
 */
class BackupTarget {
public:
    /** Neither is used after the object is destroyed. */
    BackupTarget(BDBEnv* env, const QByteArray& path);

    /**
     * For a full copy of `databases`. Creates the directory if it is missing. It must either hold nothing that looks
     * like an environment, or a copy of the same environment, finished or not, that has not been opened since.
     */
    [[nodiscard]] int openForCopy(const DatabaseFiles::ByName& databases);

    /**
     * For log files, with or without a copy of the same environment. They must continue what is there. A missing
     * directory is not refused, as it may be created later.
     */
    [[nodiscard]] int openForShipping();

    /** Removes what is left of an earlier copy. 0 or an errno value. */
    [[nodiscard]] int beginCopy();

    /**
     * Writes `list` as that of the unfinished copy, atomically and durably. It must name a database before that is
     * copied: a later copy takes an unlisted file for a foreign one. 0 or an errno value.
     */
    [[nodiscard]] int noteFiles(const BackupList& list);

    const std::filesystem::path& path() const { return path_; }

private:
    int checkPath() const;
    int hold();
    int refuse() const;
    int readLists(bool* finished, bool* unfinished);
    bool looksLikeEnvironment() const;
    bool isInTheWay(const DatabaseFiles::ByName& databases) const;
    bool hasDirectory(const std::string& name) const;
    int removeFiles();

    BDBEnv* const env_; // not owned
    const QByteArray name_;
    const std::filesystem::path path_;
    Base::DirectoryLock lock_;
    bool ours_ = false;  // holds a copy, finished or not, with a readable list
    BackupList earlier_; // its list
};

#endif
