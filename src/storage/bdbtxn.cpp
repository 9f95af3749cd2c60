#include "storage/bdbtxn.h"

#include "log/log.h"
#include "metrics/waits.h"
#include "storage/bdbenv.h"
#include "storage/bdbindex.h"
#include "storage/resultcodes.h"
#include "storage/settings.h"

#include <algorithm>
#include <cerrno>
#include <functional>
#include <shared_mutex>
#include <utility>

BDBTxn::~BDBTxn()
{
    if (txn_ != nullptr)
        (void)abort(); // there is no caller to report to
}

int BDBTxn::begin(const TxnScope& scope, u_int32_t flags)
{
    scope_ = scope;
    written_.clear();
    changes_ = nullptr;
    const int rc = scope.env()->txn_begin(nullptr, &txn_, flags);
    if (rc != 0)
        LOG_ERROR(LogOrigin::Engine, __LINE__) << "txn init failed rc " << rc;
    return rc;
}

int BDBTxn::beginWriting(const TxnScope& scope, std::span<BDBIndex* const> databases)
{
    if (scope.env()->hasFailedSync()) {
        LOG_ERROR(LogOrigin::Engine, __LINE__) << "txn init failed rc " << EIO;
        return EIO;
    }
    for (BDBIndex* database : databases)
        held_.append(&database->state());
    if (held_.size() > 1) {
        std::sort(held_.begin(), held_.end(), std::less<>());
        held_.erase(std::unique(held_.begin(), held_.end()), held_.end());
    }
    {
        const Metrics::LockWait wait;
        for (DatabaseState* file : held_)
            file->writer.lock();
    }
    const int rc = begin(scope, 0);
    if (rc != 0)
        releaseFiles();
    return rc;
}

void BDBTxn::releaseFiles()
{
    for (DatabaseState* file : held_)
        file->writer.unlock();
    held_.clear();
}

int BDBTxn::commit(u_int32_t flags)
{
    if (txn_ == nullptr) {
        LOG_ERROR(LogOrigin::Engine, __LINE__) << "bt_txn is NULL";
        return NoHandle;
    }
    UnflushedCommits* const unflushed = scope_.unflushed();
    if (flags == DB_TXN_SYNC && unflushed != nullptr) {
        flags = DB_TXN_NOSYNC;
        for (DatabaseState* file : written_)
            unflushed->addWritten(file); // before the commit, which lets others read what was written
    }
    const Metrics::EngineCall call;
    const ChangeCount::Change change(changes_); // others may see it before the commit returns
    const std::shared_lock gate(scope_.env()->commitGate());
    int rc = std::exchange(txn_, nullptr)->commit(flags);
    if (rc == 0 && flags == DB_TXN_SYNC && scope_.env()->hasFailedSync())
        rc = EIO; // it seems to be durable
    countEnd(rc == 0);
    releaseFiles();
    if (rc != 0)
        LOG_ERROR(LogOrigin::Engine, __LINE__) << "txn commit failed rc " << rc;
    return rc;
}

int BDBTxn::abort()
{
    if (txn_ == nullptr)
        return NoHandle;
    const int rc = std::exchange(txn_, nullptr)->abort();
    countEnd(false);
    releaseFiles();
    return rc;
}

/** Of those that were begun in order to write. */
void BDBTxn::countEnd(bool committed)
{
    if (!held_.isEmpty())
        scope_.env()->countTransaction(committed);
}

int BDBTxn::finish(int rc)
{
    if (rc == 0)
        return commit(Settings::txnCommitFlags());
    (void)abort(); // the result that matters is the one that led here
    return rc;
}

void BDBTxn::noteRead(BDBIndex* database)
{
    if (scope_.unflushed() != nullptr)
        scope_.unflushed()->noteRead(database->state());
}

void BDBTxn::noteWrite(BDBIndex* database)
{
    noteRead(database); // the result of a write depends on what was there before
    DatabaseState* const file = &database->state();
    if (written_.isEmpty() || written_.last() != file)
        written_.append(file);
    if (database->changes() != nullptr)
        changes_ = database->changes();
}
