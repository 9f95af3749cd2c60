#include "storage/openindex.h"

#include "log/log.h"
#include "metrics/waits.h"
#include "storage/bdbenv.h"
#include "storage/bdbindex.h"
#include "storage/resultcodes.h"

#include <QMutexLocker>

#include <memory>
#include <mutex>

namespace {

constexpr u_int32_t IndexFlags = DB_CREATE | DB_THREAD | DB_AUTO_COMMIT;

/**
 * Whether the environment has room for one more database. Otherwise says so, and what to do. To be asked before the
 * database is opened, which would create its file.
 */
bool hasRoom(const BDBEnv& env, const QString& key)
{
    const QMutexLocker locker(&env.mutex());
    if (env.hasRoom())
        return true;
    LOG_CRIT(LogOrigin::Engine, __LINE__) << "Failed to open DB with id: " << key.toUtf8();
    LOG_WARN << env.spelledHome()
             << " has as many database files open as a directory can have; further tables need another directory";
    return false;
}

} // namespace

bool Registry::findIndex(BDBObjTable* table, const QString& key, BDBIndex** index)
{
    BDBEnv* env = table->env();
    if (env == nullptr)
        return false;
    const QMutexLocker locker(&env->mutex());
    const int descriptor = env->names().value(key, 0);
    if (descriptor >= 1)
        *index = static_cast<BDBIndex*>(table->getObject(descriptor, BDBIndexType));
    return descriptor >= 1;
}

int Registry::openIndex(BDBObjTable* table, const QString& key, const QByteArray& file, const char* subDb,
                        BDBIndex** index)
{
    BDBEnv* env = table->env();
    if (env == nullptr) {
        LOG_CRIT(LogOrigin::Engine, __LINE__) << "bot_env is null";
        return -1;
    }
    if (findIndex(table, key, index))
        return 0;

    // One at a time, so that two requests never open the same database twice. An open may wait for page locks of
    // another request's transaction; the table's mutex stays free for requests whose database is already open.
    std::unique_lock opening(env->openingMutex(), std::defer_lock);
    {
        const Metrics::LockWait wait;
        opening.lock();
    }
    if (findIndex(table, key, index))
        return 0; // opened by another request in the meantime
    if (!hasRoom(*env, key))
        return NoHandle;
    auto opened = std::make_unique<BDBIndex>(env, DB_CXX_NO_EXCEPTIONS);
    const int rc = env->openDatabase(opened.get(), file, subDb, IndexFlags);
    if (rc != 0) {
        LOG_CRIT(LogOrigin::Engine, __LINE__)
            << "Failed to open DB dbpath: " << file << " dbname " << subDb << " rc " << rc << " flags " << IndexFlags;
        return NoHandle;
    }

    const QMutexLocker locker(&env->mutex());
    const int descriptor = env->addDesc(opened.get());
    if (descriptor < 1)
        return NoHandle; // not after hasRoom: databases are added only here, one at a time
    env->names().insert(key, descriptor | ENV_DESC_FLAG);
    *index = opened.release();
    return 0;
}
