#include "storage/bdblocker.h"

#include "log/log.h"
#include "storage/bdbenv.h"
#include "storage/resultcodes.h"

#include <QMutexLocker>

BDBLocker::~BDBLocker()
{
    (void)unlock(); // 22 when nothing is locked
}

int BDBLocker::lock(const QString& name)
{
    if (locked_ == 1)
        return NoHandle;
    LOG_INFO << "Locking " << name.toUtf8();
    const QMutexLocker locker(&env_->mutex());
    if (env_->lockNames().contains(name))
        return DB_LOCK_NOTGRANTED;
    env_->lockNames().insert(name, 1);
    name_ = name;
    locked_ = 1;
    return 0;
}

int BDBLocker::unlock()
{
    if (locked_ == 0)
        return WrongState;
    const QMutexLocker locker(&env_->mutex());
    env_->lockNames().remove(name_);
    locked_ = 0;
    return 0;
}
