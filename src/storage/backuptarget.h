#ifndef QUORVA_STORAGE_BACKUPTARGET_H
#define QUORVA_STORAGE_BACKUPTARGET_H

#include "base/directorylock.h"
#include "format/backuplist.h"
#include "storage/databasefiles.h"

#include <QByteArray>

#include <filesystem>

class BDBEnv;

/**
 * The directory that a backup writes to, held with an exclusive `flock` like the home of an open environment for as
 * long as the object lives. Says no to a directory in which something would be lost. After a refusal nothing in it has
 * changed.
 *
 * Results of both ways to open one: 0; ENOENT for an empty name, or one with a zero byte; EBUSY for the home of an open
 * environment, for what lies within the home of `env`, and while another backup writes there; ENOTEMPTY, with a WARN
 * line, when it holds what is no backup of `env`; other errno values and codes of Berkeley DB.
 */
class BackupTarget {
public:
    /** Neither is used after the object's end. */
    BackupTarget(BDBEnv* env, const QByteArray& path);

    /**
     * For a full copy of `databases`. The directory is made when it is not there. It may hold nothing that looks like
     * an environment, or a copy of the same environment, finished or not, that nobody has opened since.
     */
    [[nodiscard]] int openForCopy(const DatabaseFiles::ByName& databases);

    /**
     * For log files behind a copy of the same environment, or without a copy. They have to continue what is there.
     * A directory that is not there is no refusal, as it may come yet.
     */
    [[nodiscard]] int openForShipping();

    /** Removes what an earlier copy left there. 0 or an errno value. */
    [[nodiscard]] int beginCopy();

    /**
     * Makes `list` that of the unfinished copy, whole and on disk. It has to name a database before that is copied: a
     * file without a name in it is somebody else's, for a later copy. 0 or an errno value.
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
    bool ours_ = false;  // holds a copy, finished or not, with a list that can be read
    BackupList earlier_; // its list
};

#endif
