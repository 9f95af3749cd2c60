/* What is counted of the activity in an environment. */
#include "storage/bdbenv.h"
#include "storage/logpreparation.h"

#include <cerrno>

int BDBEnv::log_flush(const DbLsn* lsn)
{
    const int rc = syncFailures_.any() ? EIO : DbEnv::log_flush(lsn);
    if (rc != 0)
        return rc;
    if (syncFailures_.any()) // another's flush, after which this one seemed to succeed
        return EIO;
    flushes_.add();
    if (logPreparation_)
        logPreparation_->noteFlush();
    return 0;
}

int BDBEnv::txn_checkpoint(u_int32_t kilobytes, u_int32_t minutes, u_int32_t flags)
{
    const int rc = syncFailures_.any() ? EIO : DbEnv::txn_checkpoint(kilobytes, minutes, flags);
    if (rc != 0)
        return rc;
    if (syncFailures_.any()) // another's sync, after which those of the checkpoint seemed to succeed
        return EIO;
    lastCheckpoint_ = std::chrono::system_clock::now().time_since_epoch().count();
    return 0;
}

void BDBEnv::countTransaction(bool committed)
{
    Transactions& transactions = transactions_.local();
    (committed ? transactions.commits : transactions.aborts).add();
}

BDBEnv::Activity BDBEnv::activity() const
{
    using Time = std::chrono::system_clock::time_point;
    Activity activity;
    activity.commits = transactions_.sum([](const Transactions& some) { return some.commits.value(); });
    activity.aborts = transactions_.sum([](const Transactions& some) { return some.aborts.value(); });
    activity.flushes = flushes_.value();
    if (const auto checkpoint = lastCheckpoint_.load(); checkpoint != 0)
        activity.lastCheckpoint = Time(Time::duration(checkpoint));
    return activity;
}
