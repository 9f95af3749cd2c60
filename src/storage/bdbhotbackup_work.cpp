/* What the thread of a hot backup does. */
#include "storage/bdbhotbackup.h"

#include "base/filesync.h"
#include "format/backupnames.h"
#include "log/log.h"
#include "storage/bdbenv.h"
#include "storage/boundedhold.h"
#include "storage/environmentcopy.h"
#include "storage/shippingcycle.h"

#include <cerrno>

#include <unistd.h>

namespace {

// How long commits wait for a slow target to write its last few bytes, in the first and the last try, doubling in
// between. If it never succeeds, the backup fails.
constexpr std::chrono::milliseconds FirstHold{250};
constexpr std::chrono::milliseconds LongestHold{4000};

} // namespace

void BDBHotBackupThread::run(int mode)
{
    work(mode);
    running_ = false; // first: a thread that sees that it has ended may begin the next one
    setStatus({});
}

/** `mode` is the original order; a stop since then does not change it. */
void BDBHotBackupThread::work(int mode)
{
    // Kept: any failure of a backup lets checkpoints of all environments remove log files, even if its target was
    // refused and nothing had begun. Operators recognize a failed backup by that line.
    //
    // A requested stop leaves `backupDisabled` as it is: the requester takes care of it.
    if (mode == BackupFull) {
        if (fullBackup() != 0)
            return fail();
        env_->logHold().settle();
        if (!goOnToShipping())
            return;
    }
    for (bool wasAccepted = mode == BackupFull;; wasAccepted = true) {
        std::optional<BDBBackupStatus::Time> until;
        if (ShippingCycle::run(env_, target_.toUtf8(), wasAccepted, &until) != 0)
            return fail();
        env_->logHold().settle();
        if (until)
            noteUntil(*until);
        if (!sleepUntilNextCycle())
            return;
    }
}

void BDBHotBackupThread::fail()
{
    env_->logHold().fail();
    disableBackup();
}

int BDBHotBackupThread::fullBackup()
{
    LOG_INFO << "Starting BDBHotBackupThread.backup";
    EnvironmentCopy copy(env_, target_.toUtf8());
    int rc = copy.begin();
    if (rc == 0)
        rc = copy.copy();
    for (std::chrono::milliseconds limit = FirstHold; rc == 0 && limit <= LongestHold; limit *= 2) {
        // Everything acknowledged before the marker is gone is in the copy: no transaction commits between the copy of
        // the log's last records and the deletion. Those are few, so the pause is short. If the target is slow, commits
        // resume, and the step is retried with what was written since.
        BoundedHold noCommits;
        rc = noCommits.begin(env_->commitGate(), limit);
        const BDBBackupStatus::Time noCommitSince = std::chrono::system_clock::now();
        if (rc == 0)
            rc = copy.catchUp();
        if (rc == 0)
            rc = copy.writeList();
        if (rc != 0)
            break;
        bool deleted = false;
        if (noCommits.whileHeld([&] { deleted = deleteMarker(copy.path()); })) {
            if (!deleted || Base::syncToDisk(copy.path()) != 0)
                return markerFailed();
            noteUntil(noCommitSince);
            return 0;
        }
        noCommits.end();
        rc = copy.catchUp();
    }
    copy.dropLog();
    return backupFailed(rc != 0 ? rc : ETIMEDOUT);
}

/**
 * In one step for schedule(): a client that sees that the marker is gone may request another full backup.
 *
 * Kept: fails even if the marker never existed, as the requester cannot tell then whether the copy is complete.
 */
bool BDBHotBackupThread::deleteMarker(const std::filesystem::path& target)
{
    LOG_INFO << "Done BDBHotBackupThread.backup";
    const std::lock_guard lock(stopMutex_);
    if (::unlink((target / BackupNames::Marker).c_str()) != 0)
        return false;
    if (!stopFlag_)
        mode_ = BackupShipLogs;
    return true;
}

int BDBHotBackupThread::markerFailed()
{
    LOG_ERROR(LogOrigin::Engine, __LINE__) << "Failed to del temp file from " << target_.toUtf8();
    return 2;
}

int BDBHotBackupThread::backupFailed(int rc)
{
    LOG_ERROR(LogOrigin::Engine, __LINE__) << "Dbenv backup failed rc " << rc;
    return rc;
}
