#ifndef QUORVA_STORAGE_BDBENV_H
#define QUORVA_STORAGE_BDBENV_H

#include "metrics/sharded.h"
#include "storage/bdbobjtable.h"
#include "storage/changecount.h"
#include "storage/commitgate.h"
#include "storage/databasestate.h"
#include "storage/directoryclaims.h"
#include "storage/enginesampler.h"
#include "storage/environmentdirectories.h"
#include "storage/environmentuse.h"
#include "storage/loghold.h"
#include "storage/opentables.h"
#include "storage/syncfailures.h"
#include "storage/tablegates.h"

#include <db_cxx.h>

#include <QByteArray>

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>

class BDBCacheFlushThread;
class BDBCheckpointThread;
class BDBHotBackupThread;
class BDBIndex;
class BDBLockDetectThread;
class BDBStatPrintThread;
class LogFlusher;
class LogPreparation;
struct BDBBackupStatus;

/**
 * One open Berkeley DB environment: a directory on disk that is opened once and shared by all requests. It is also the
 * table of its open database handles, which live as long as it does. It owns its background threads: deadlock
 * detection, checkpoints, cache flushing, statistics, and the hot backup.
 *
 * Threads: opened and destroyed by one thread (the registry ensures that), used by any number in between; all handles
 * are free-threaded.
 */
class BDBEnv : public DbEnv, public BDBObject, public BDBObjTable {
public:
    /** `tableCapacity` is the number of slots for database handles; `dbEnvFlags` are passed to Berkeley DB. */
    BDBEnv(int tableCapacity, u_int32_t dbEnvFlags);

    /**
     * Stops the threads, which waits for a full backup, then closes the database handles and the environment. None of
     * them may be in use.
     */
    ~BDBEnv() override;

    int type() const override { return BDBEnvType; }

    /**
     * Configures and opens the environment in the directory `home`, which must exist, and runs recovery. The directory
     * is locked with an exclusive `flock` while the environment exists: two private environments on one directory, in
     * this process or another, would destroy each other's data. A symbolic link is resolved here, once: a later target
     * is another environment.
     *
     * Returns 0, a Berkeley DB code or an errno value; after a failure the object can only be destroyed. EMFILE: fewer
     * descriptors are left than the recovery of all database files there may need. EBUSY: there is no log, but there
     * are database files written with another log; or the directories that DB_CONFIG names belong to another
     * environment. EINVAL: DB_CONFIG or a log file is malformed. EACCES, EPERM, EROFS: the directory is not writable.
     * ENOMEM: the constructor ran out of memory. None of these creates a file.
     */
    [[nodiscard]] int open(const QByteArray& home);

    /** The canonical path of the directory, as resolved by open(). */
    const QByteArray& canonicalHome() const { return directories_.home(); }

    /** The path as given to open(), for messages. */
    const QByteArray& spelledHome() const { return spelledHome_; }

    /**
     * Opens the database `subDb` of `file` with `index`, a new handle. Refuses a file that no table may have (EINVAL,
     * see format/tablename.h), one that is not a regular file (EINVAL, EISDIR), one in a directory that is an
     * environment of its own (EBUSY), one reached through a link back into the environment (ELOOP), any file once the
     * environment's directory has been moved (ESTALE), any file when descriptors run short (EMFILE), and with DB_CREATE
     * any file after a failed sync (EIO); ENOMEM if there was too little memory for the handle. The caller holds
     * openingMutex(). Returns 0, a Berkeley DB code or an errno value; after a failure the handle can only be
     * destroyed.
     */
    [[nodiscard]] int openDatabase(BDBIndex* index, const QByteArray& file, const char* subDb, u_int32_t flags);

    /**
     * True when there is no file `file`, which a table may have: openDatabase would create it. Only opening it can tell
     * whether a file in a directory below may be used, so for these it is false. Costs a system call for each directory
     * of the environment. Any thread.
     */
    bool lacksDatabase(const QByteArray& file, const char* subDb) const;

    /**
     * True when this environment may hold data: it had a log when it was opened, or a database was opened in it since.
     * Until then no transaction can write.
     */
    bool hasContent() const { return hasContent_; }

    /**
     * Flushes the log up to `lsn`, or all of it if that is null, and counts that. EIO if a sync has failed before.
     */
    int log_flush(const DbLsn* lsn) override;

    /** True after a sync of any of its files has failed: nothing becomes durable any more. Any thread. */
    bool hasFailedSync() const noexcept { return syncFailures_.any(); }

    /** Whether a write of the log waits for the disk (DB_LOG_DSYNC), instead of a flush after it. */
    bool writesLogSynchronously();

    /** Writes a checkpoint and notes the time. EIO if a sync has failed before. */
    int txn_checkpoint(u_int32_t kilobytes, u_int32_t minutes, u_int32_t flags) override;

    /** Counts a transaction that was begun in order to write. */
    void countTransaction(bool committed);

    /** What has been done in the environment since it was opened. */
    struct Activity {
        std::uint64_t commits = 0; // of transactions that were begun in order to write
        std::uint64_t aborts = 0;  // likewise
        std::uint64_t flushes = 0; // of the log, without those that failed
        std::optional<std::chrono::system_clock::time_point> lastCheckpoint;
    };
    /** Waits for nothing. */
    Activity activity() const;

    /** Reads Berkeley DB's statistics for callers that must not wait for them. Only of an open environment. */
    EngineSampler& sampler() { return *sampler_; }

    /** Passes an order to the hot backup (see BDBHotBackupThread::schedule). 3 when the environment has none. */
    [[nodiscard]] int backup(const QString& target, int mode);

    /** The current state of the hot backup. Waits for nothing. */
    [[nodiscard]] BDBBackupStatus backupStatus();

    /** Makes commits durable for the requests that wait for it. Only of an open environment. */
    LogFlusher& logFlusher() { return *logFlusher_; }

    /** Held while a database is opened; before mutex() in the lock order. */
    QMutex& openingMutex() { return openingMutex_; }

    /**
     * Held while files are removed or shortened, and while a full backup copies one of them. First in the lock order of
     * an environment in use; one removal at a time.
     */
    std::mutex& filesMutex() { return filesMutex_; }

    /** Passed by the requests to a table. After filesMutex() and before openingMutex() in the lock order. */
    TableGates& tableGates() { return tableGates_; }

    /** Whether a registered handle shares `state`: the file is open, under whatever name. */
    bool isOpen(const DatabaseState& state) const;

    /** Last in the lock order; held exclusively only briefly. */
    CommitGate& commitGate() { return commitGate_; }

    /**
     * Counts the changes of all sub-databases of table descriptions. One for the environment, as a file may have
     * several names.
     */
    ChangeCount& descriptionChanges() { return descriptionChanges_; }

    OpenTables& openTables() { return openTables_; }

    /** Whether log files may be removed. */
    LogHold& logHold() { return logHold_; }

    /** Names held by BDBLocker objects; guarded by mutex(). */
    QHash<QString, int>& lockNames() { return lockNames_; }

    /** Counts the users of the environment; outlives it. */
    const std::shared_ptr<EnvironmentUseCount>& uses() const { return uses_; }

protected:
    /** Stops the threads. The destructor does so; a derived class whose functions they call must do so first. */
    void stopThreads();

private:
    int openConfigured(const QByteArray& home);
    int configure();
    int startThreads();

    using FileId = std::array<u_int8_t, DB_FILE_ID_LEN>;

    struct Transactions {
        Metrics::Counter commits;
        Metrics::Counter aborts;
    };

    Metrics::Sharded<Transactions, 8> transactions_;
    Metrics::Counter flushes_;
    std::atomic<std::chrono::system_clock::rep> lastCheckpoint_ = 0; // by the system's clock; 0: none yet
    QHash<QString, int> lockNames_;
    std::mutex filesMutex_;
    TableGates tableGates_;
    QMutex openingMutex_;
    CommitGate commitGate_;
    ChangeCount descriptionChanges_;
    OpenTables openTables_;
    LogHold logHold_;
    const std::shared_ptr<EnvironmentUseCount> uses_ = std::make_shared<EnvironmentUseCount>();
    EnvironmentDirectories directories_;
    SyncFailures syncFailures_;
    DirectoryClaims claims_;                    // guarded by openingMutex_
    std::map<FileId, DatabaseState> databases_; // of all files ever opened; guarded by openingMutex_
    QByteArray spelledHome_;
    std::atomic<bool> hasContent_ = false;
    const int tableCapacity_;

    // Null until open() succeeds.
    std::unique_ptr<BDBCheckpointThread> checkpointThread_;
    std::unique_ptr<BDBLockDetectThread> lockDetectThread_;
    std::unique_ptr<BDBCacheFlushThread> cacheFlushThread_;
    std::unique_ptr<BDBStatPrintThread> statPrintThread_;
    std::unique_ptr<BDBHotBackupThread> hotBackupThread_;
    std::unique_ptr<LogFlusher> logFlusher_;
    std::unique_ptr<LogPreparation> logPreparation_; // also null when the settings do not ask for it
    std::unique_ptr<EngineSampler> sampler_;
};

#endif
