#ifndef QUORVA_STORAGE_BDBHOTBACKUP_H
#define QUORVA_STORAGE_BDBHOTBACKUP_H

#include "storage/maintenanceperiods.h"

#include <QMutex>
#include <QString>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <mutex>
#include <optional>
#include <thread>

class BDBEnv;

/** The order to a backup. Requests carry these numbers. */
enum BDBBackupMode : int { BackupStop = 0, BackupFull = 1, BackupShipLogs = 2 };

/** The current state of a backup. */
struct BDBBackupStatus {
    enum State { None, Copying, Shipping, Stopping }; // Stopping: stop requested, in its last step
    using Time = std::chrono::system_clock::time_point;

    State state = None;
    // Not with None:
    QString target;
    std::optional<Time> since; // when it was begun
    /**
     * What was committed up to then is in the target. Unset until that is known: before a full copy is complete, and in
     * log shipping without one before the first log file was shipped.
     */
    std::optional<Time> until;
};

/**
 * Copies an environment to a directory while it is in use, and keeps the copy current by moving each log file there
 * that the environment no longer needs. Idle until schedule() starts it.
 *
 * The layout of the target is in format/backupnames.h. The requesting application creates and watches its marker.
 *
 * Threads: schedule() and status() from any; requestStop() from any. The environment must outlive the object, whose
 * destructor waits for the thread, even for a full copy. Not a QThread, for the reason given at MaintenanceThread.
 */
class BDBHotBackupThread final {
public:
    explicit BDBHotBackupThread(BDBEnv* env, std::chrono::milliseconds period = MaintenancePeriods::LogShipping);
    ~BDBHotBackupThread();
    BDBHotBackupThread(const BDBHotBackupThread&) = delete;
    BDBHotBackupThread& operator=(const BDBHotBackupThread&) = delete;

    /**
     * BackupFull: a full copy to `target`, then log shipping; replaces a running log shipping, and waits for it to end.
     * Once the marker of a full copy is deleted, the backup counts as log shipping, even if it is not yet on disk.
     * BackupShipLogs: log shipping alone. Any other mode stops a running backup, without waiting, and lets checkpoints
     * remove log files again. 0: accepted. 1, with a WARN line: refused, as the thread is busy, or as it cannot be
     * recorded that the log files are needed (see LogHold).
     */
    [[nodiscard]] int schedule(const QString& target, int mode);

    /** Waits for nothing. */
    BDBBackupStatus status() const;

    /** Lets checkpoints of every environment remove log files again. */
    static void disableBackup();

    /** Makes the thread end after its current step; interrupts a sleep. */
    void requestStop();

private:
    void run(int mode);
    void work(int mode);
    void join();
    void fail();
    int fullBackup();
    static int backupFailed(int rc);
    bool deleteMarker(const std::filesystem::path& target);
    int markerFailed();
    bool sleepUntilNextCycle();
    bool goOnToShipping();
    bool isShipping();
    void setMode(int mode);
    int startThread(const QString& target, int mode);
    void setStatus(const BDBBackupStatus& status);
    void noteUntil(BDBBackupStatus::Time time);

    BDBEnv* const env_; // not owned
    const std::chrono::milliseconds period_;
    QMutex scheduleMutex_; // serializes orders
    QString target_;       // written under scheduleMutex_ while no thread runs
    std::thread thread_;   // replaced under scheduleMutex_
    std::atomic<bool> running_{false};
    std::mutex stopMutex_;
    std::condition_variable stopChanged_;
    // Guarded by stopMutex_:
    int mode_ = BackupStop; // the last order; BackupShipLogs also once the marker of a full copy is deleted
    bool stopFlag_ = false;

    mutable std::mutex statusMutex_; // last in the lock order, never held across a wait
    BDBBackupStatus status_;         // guarded by statusMutex_; None: the thread has ended
};

#endif
