#ifndef QUORVA_STORAGE_ENVIRONMENTCOPY_H
#define QUORVA_STORAGE_ENVIRONMENTCOPY_H

#include "format/backuplist.h"
#include "storage/backuptarget.h"
#include "storage/copiedlog.h"

#include <QByteArray>

#include <filesystem>
#include <set>
#include <string>

class BDBEnv;

/**
 * A full copy of an environment that goes on serving: first its database files, page by page, then the log files from
 * the first that recovery of those pages needs, and at last the list of it all. Each step waits until what it wrote is
 * on disk. One thread; results are 0, an errno value or a code of Berkeley DB.
 */
class EnvironmentCopy {
public:
    EnvironmentCopy(BDBEnv* env, const QByteArray& target);

    /** Looks whether the target may be written to (see BackupTarget), and prepares it. */
    [[nodiscard]] int begin();

    /** Everything that takes long, in rounds, until the log of the copy is only little behind. */
    [[nodiscard]] int copy();

    /** Copies what the log has gained since. Takes back a list that was written before. */
    [[nodiscard]] int catchUp();

    /** The list of what was copied. From here on only the marker says that the copy is not complete. */
    [[nodiscard]] int writeList();

    /**
     * After a failure: removes the copied log files. Nothing else tells them from those of somebody who opened the
     * directory as an environment, once the environment itself has removed its own.
     */
    void dropLog();

    const std::filesystem::path& path() const { return target_.path(); }

private:
    int planOrigin();
    int planFiles();
    int copyDatabases();
    int copyDatabase(const std::string& name, const std::filesystem::path& source);
    int makeDirectoriesFor(const std::string& name);
    int takeListBack();

    BDBEnv* const env_; // not owned
    BackupTarget target_;
    CopiedLog log_;
    DatabaseFiles::ByName databases_; // as they were found last
    BackupList planned_;              // names every database whose copy was begun
    std::set<std::filesystem::path> directories_;
    bool begun_ = false;
    BackupList list_;
    bool listed_ = false; // writeList() was called last
};

#endif
