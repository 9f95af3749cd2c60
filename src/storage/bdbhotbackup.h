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
#include <thread>

class BDBEnv;

/** What a backup is asked to do. The numbers come with the requests. */
enum BDBBackupMode : int { BackupStop = 0, BackupFull = 1, BackupShipLogs = 2 };

/** What a backup does at the moment. */
struct BDBBackupStatus {
    enum State { None, Copying, Shipping, Stopping }; // Stopping: told to end, and at its last step
    State state = None;
    QString target; // empty with None
};

/**
 * Copies an environment to a directory while it serves, and keeps the copy current by moving there each log file that
 * the environment no longer needs. Idle until schedule() starts it.
 *
 * What the target holds then is in format/backupnames.h. Requesting applications make and watch its marker.
 *
 * Threads: schedule() and status() from any; requestStop() from any. The environment must outlive the object, whose
 * destructor waits for the thread, a full copy included. Not a QThread, for the reason that MaintenanceThread gives.
 */
class BDBHotBackupThread final {
public:
    explicit BDBHotBackupThread(BDBEnv* env, std::chrono::milliseconds period = MaintenancePeriods::LogShipping);
    ~BDBHotBackupThread();
    BDBHotBackupThread(const BDBHotBackupThread&) = delete;
    BDBHotBackupThread& operator=(const BDBHotBackupThread&) = delete;

    /**
     * BackupFull: a full copy to `target`, then log shipping; replaces a log shipping under way, and waits for that to
     * end. BackupShipLogs: log shipping alone. Any other mode stops what runs, without waiting, and lets checkpoints
     * remove log files again. 0: accepted. 1, with a WARN line: refused, as the thread is busy.
     */
    [[nodiscard]] int schedule(const QString& target, int mode);

    /** Changes nothing. Waits for a schedule() under way. */
    BDBBackupStatus status();

    /** Lets checkpoints of every environment remove log files again. */
    static void disableBackup();

    /** Makes the thread end at its next step; a sleep ends at once. */
    void requestStop();

private:
    void run(int mode);
    void work(int mode);
    void join();
    int fullBackup();
    static int backupFailed(int rc);
    static bool deleteMarker(const std::filesystem::path& target);
    int markerFailed();
    int shipLogs(bool wasAccepted);
    bool sleepUntilNextCycle();
    bool goOnToShipping();
    int startThread(const QString& target, int mode);

    BDBEnv* const env_; // not owned
    const std::chrono::milliseconds period_;
    QMutex scheduleMutex_; // one order at a time
    QString target_;       // written under scheduleMutex_ while the thread does not run
    std::thread thread_;   // replaced under scheduleMutex_
    std::atomic<bool> running_{false};
    std::atomic<int> mode_{BackupStop};
    std::mutex stopMutex_;
    std::condition_variable stopChanged_;
    bool stopFlag_ = false; // guarded by stopMutex_
};

#endif
