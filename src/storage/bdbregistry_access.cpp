/* The access locks of environments. */
#include "storage/bdbregistry.h"

#include "log/log.h"
#include "metrics/waits.h"
#include "storage/environmentnames.h"
#include "storage/environmentpath.h"
#include "storage/registrykeys.h"

#include <QMutexLocker>

std::shared_ptr<AccessLock> Registry::lockEnv(BDBObjTable* registry, const QByteArray& tableName, bool exclusive)
{
    const QString key = RegistryKeys::environment(EnvironmentPath::ofTable(tableName));
    for (;;) {
        std::shared_ptr<AccessLock> lock;
        {
            const QMutexLocker locker(&registry->mutex());
            lock = EnvironmentNames::findAccess(registry, key);
        }
        if (!lock) {
            LOG_ERROR(LogOrigin::Engine, __LINE__) << "Failed to find lock for dbid: " << key.toUtf8();
            return nullptr;
        }
        if (exclusive) {
            const Metrics::LockWait wait;
            lock->lockForWrite();
        } else if (!lock->tryLockForRead()) {
            return nullptr;
        }
        {
            const QMutexLocker locker(&registry->mutex());
            if (EnvironmentNames::findAccess(registry, key) == lock)
                return lock;
        }
        // The environment was removed during the wait, and its lock with it. It may have been reopened since.
        lock->unlock();
    }
}

void Registry::unlockEnv(BDBObjTable* registry, const QByteArray& tableName)
{
    std::shared_ptr<AccessLock> lock;
    {
        const QMutexLocker locker(&registry->mutex());
        lock = EnvironmentNames::findAccess(registry, RegistryKeys::environment(EnvironmentPath::ofTable(tableName)));
    }
    if (lock)
        lock->unlock();
}

void Registry::dropEnvLock(BDBObjTable* registry, const std::shared_ptr<AccessLock>& lock)
{
    {
        const QMutexLocker locker(&registry->mutex());
        EnvironmentNames::forgetAccess(registry, lock);
    }
    lock->unlock();
}
