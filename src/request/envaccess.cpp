#include "request/envaccess.h"

#include "storage/accesslock.h"
#include "storage/bdbregistry.h"

EnvAccess::~EnvAccess()
{
    if (lock_)
        lock_->unlock();
}

bool EnvAccess::takeShared(BDBObjTable* registry, const QByteArray& tableName)
{
    lock_ = Registry::lockEnv(registry, tableName, false);
    return lock_ != nullptr;
}

void EnvAccess::dismiss()
{
    lock_.reset();
}
