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
 * A full copy of an environment in use: first its database files, page by page, then the log files from the first that
 * recovery of those pages needs, and finally the list of them all. Each step makes its writes durable before it
 * returns. One thread; results are 0, an errno value or a Berkeley DB code.
 */
class EnvironmentCopy {
public:
    EnvironmentCopy(BDBEnv* env, const QByteArray& target);

    /** Checks that the target may be written to (see BackupTarget), and prepares it. */
    [[nodiscard]] int begin();

    /** The bulk of the copy, in rounds, until its log is only slightly behind. */
    [[nodiscard]] int copy();

    /** Copies what was appended to the log since. Withdraws a list that was written before. */
    [[nodiscard]] int catchUp();

    /** Writes the list of what was copied. From here on only the marker shows that the copy is incomplete. */
    [[nodiscard]] int writeList();

    /**
     * After a failure: removes the copied log files. Once the environment has removed its own, they could not be
     * distinguished from those of an environment opened in the target.
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
    int setListed(bool listed);

    BDBEnv* const env_; // not owned
    BackupTarget target_;
    CopiedLog log_;
    DatabaseFiles::ByName databases_; // as last found
    BackupList planned_;              // lists every database whose copy was begun
    std::set<std::filesystem::path> directories_;
    bool begun_ = false;
    BackupList list_;
    bool listed_ = false; // writeList() was called last
};

#endif
