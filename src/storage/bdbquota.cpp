#include "storage/bdbquota.h"

#include "storage/resultcodes.h"

#include <QMutexLocker>

int BDBQuota::charge(std::int64_t delta)
{
    const QMutexLocker locker(&mutex_);
    std::int64_t sum = 0;
    const bool overflow = __builtin_add_overflow(used_, delta, &sum);
    if (delta > 0 && (overflow || sum > limit_))
        return NoHandle;
    used_ = sum;
    return 0;
}

std::int64_t BDBQuota::used() const
{
    const QMutexLocker locker(&mutex_);
    return used_;
}

void BDBQuota::set(std::int64_t used, std::int64_t limit)
{
    const QMutexLocker locker(&mutex_);
    used_ = used;
    limit_ = limit;
}
