#ifndef QUORVA_STORAGE_BDBENV_H
#define QUORVA_STORAGE_BDBENV_H

#include "storage/bdbobjtable.h"
#include "storage/commitgate.h"
#include "storage/directoryclaims.h"
#include "storage/environmentdirectories.h"
#include "storage/environmentuse.h"

#include <db_cxx.h>

#include <QByteArray>

#include <atomic>
#include <memory>

class BDBCacheFlushThread;
class BDBCheckpointThread;
class BDBHotBackupThread;
class BDBIndex;
class BDBLockDetectThread;
class BDBStatPrintThread;
struct BDBBackupStatus;

/**
 * One open Berkeley DB environment: a directory on disk that is opened once and shared by all requests. It is also the
 * table of the database handles that are open in it; they live as long as it does. It owns the threads that look after
 * it: deadlock detection, checkpoints, cache flushing, statistics, and the hot backup.
 *
 * Threads: opened and destroyed by one thread (the registry sees to that), used by any number in between; all handles
 * are opened for threads.
 */
class BDBEnv : public DbEnv, public BDBObject, public BDBObjTable {
public:
    /** `tableCapacity` is the number of slots for database handles, `dbEnvFlags` go to Berkeley DB. */
    BDBEnv(int tableCapacity, u_int32_t dbEnvFlags);

    /**
     * Ends the threads, a full backup included, then closes the database handles, then the environment. Nobody may use
     * them any more.
     */
    ~BDBEnv() override;

    int type() const override { return BDBEnvType; }

    /**
     * Configures and opens the environment in the directory `home`, which must exist, and runs recovery. The directory
     * is held with an exclusive `flock` while the environment lives: two private environments on one directory, in this
     * process or another, would destroy each other's data. A link is followed here once and never again: what it leads
     * to later is another environment's.
     *
     * Returns 0, a Berkeley DB code or an errno value; after a failure the object can only be destroyed. EMFILE: fewer
     * descriptors are left than the recovery of all database files there may need. EBUSY: there is no log, but there
     * are database files of another one; or the directories that DB_CONFIG names are those of another environment.
     * EINVAL: DB_CONFIG or a log file is not what it should be. EACCES, EPERM, EROFS: the directory cannot be written.
     * ENOMEM: there was too little memory when the object was made. None of these makes a file.
     */
    [[nodiscard]] int open(const QByteArray& home);

    /** The path of the directory, without links, that open() resolved. */
    const QByteArray& canonicalHome() const { return directories_.home(); }

    /** The same as the caller of open() spelled it, for messages. */
    const QByteArray& spelledHome() const { return spelledHome_; }

    /**
     * Opens the database `subDb` of `file` with `index`, a new handle. Refused are a file that no table may have
     * (EINVAL, see format/tablename.h), what is no regular file (EINVAL, EISDIR), one in a
     * directory that is an environment of its own (EBUSY), one that a link within the environment leads to (ELOOP), any
     * file when the environment's directory is not where it was (ESTALE), and what there are too few descriptors for
     * (EMFILE); ENOMEM when there was too little memory for the handle. The caller holds openingMutex(). Returns 0, a
     * Berkeley DB code or an errno value; after a failure the handle can only be destroyed.
     */
    [[nodiscard]] int openDatabase(BDBIndex* index, const QByteArray& file, const char* subDb, u_int32_t flags);

    /**
     * True when something may be lost with this environment: it had a log when it was opened, or a database was opened
     * in it since. Without one no transaction can write.
     */
    bool hasContent() const { return hasContent_; }

    /** Hands an order to the hot backup (see BDBHotBackupThread::schedule). 3 when the environment has none. */
    [[nodiscard]] int backup(const QString& target, int mode);

    /** What the hot backup does at the moment. */
    [[nodiscard]] BDBBackupStatus backupStatus();

    /** Held while a database is opened; in the lock order in front of mutex(). */
    QMutex& openingMutex() { return openingMutex_; }

    /** Last in the lock order, and held exclusively for moments only. */
    CommitGate& commitGate() { return commitGate_; }

    /** Names held by BDBLocker objects; guarded by mutex(). */
    QHash<QString, int>& lockNames() { return lockNames_; }

    /** Who still holds on to the environment; outlives it. */
    const std::shared_ptr<EnvironmentUseCount>& uses() const { return uses_; }

protected:
    /** Ends the threads. The destructor does it; a derived class whose functions they call has to do it before. */
    void stopThreads();

private:
    int openConfigured(const QByteArray& home);
    int configure();
    int startThreads();

    QHash<QString, int> lockNames_;
    QMutex openingMutex_;
    CommitGate commitGate_;
    const std::shared_ptr<EnvironmentUseCount> uses_ = std::make_shared<EnvironmentUseCount>();
    EnvironmentDirectories directories_;
    DirectoryClaims claims_; // guarded by openingMutex_
    QByteArray spelledHome_;
    std::atomic<bool> hasContent_ = false;
    const int tableCapacity_;

    // Null until open() succeeds.
    std::unique_ptr<BDBCheckpointThread> checkpointThread_;
    std::unique_ptr<BDBLockDetectThread> lockDetectThread_;
    std::unique_ptr<BDBCacheFlushThread> cacheFlushThread_;
    std::unique_ptr<BDBStatPrintThread> statPrintThread_;
    std::unique_ptr<BDBHotBackupThread> hotBackupThread_;
};

#endif
