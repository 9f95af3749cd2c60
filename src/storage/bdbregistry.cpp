#include "storage/bdbregistry.h"

#include "log/log.h"
#include "storage/accesslock.h"
#include "storage/bdbenv.h"
#include "storage/bdbindex.h"
#include "storage/closingenvironments.h"
#include "storage/environmentpath.h"
#include "storage/openingenvironments.h"
#include "storage/resultcodes.h"

#include <QMutexLocker>

#include <cerrno>
#include <chrono>
#include <utility>

namespace {

constexpr const char* LogOrigin = "bdb";

constexpr u_int32_t IndexFlags = DB_CREATE | DB_THREAD | DB_AUTO_COMMIT;

constexpr int OpenFailed = 3;

// Spellings are remembered only up to this many names, so that a client that invents ever new ones costs no memory.
constexpr qsizetype MaxRememberedNames = 65536;

// A link may be switched while the environment that it led to is open.
constexpr std::chrono::seconds ResolvedFor(1);

/** Forgets a spelling that leads elsewhere since it was resolved. Call with the mutex held. */
void checkSpelling(BDBObjTable* registry, const QString& key)
{
    if (registry->spellings().isEmpty())
        return;
    const auto spelling = registry->spellings().find(key);
    if (spelling == registry->spellings().end())
        return;
    const auto now = std::chrono::steady_clock::now();
    if (now - *spelling < ResolvedFor)
        return;
    *spelling = now;
    // Kept: the environment stays open, as requests are under way in it; who names its own path goes on to get it.
    // A spelling that leads nowhere stays with its environment: somebody is just about to make the link.
    const QString canonical = canonicalEnvironmentKey(key);
    if (canonical == key || registry->names().value(canonical, 0) == registry->names().value(key, 0))
        return;
    registry->names().remove(key);
    registry->locks().remove(key);
    registry->spellings().erase(spelling);
}

/** The descriptor behind a name, or 0. A new spelling of a registered directory is remembered. Call with the mutex
 * held. */
int findDescriptor(BDBObjTable* registry, const QString& key)
{
    if (const int descriptor = registry->names().value(key, 0))
        return descriptor;
    const QString canonical = canonicalEnvironmentKey(key);
    const int descriptor = registry->names().value(canonical, 0);
    if (descriptor != 0 && registry->names().size() < MaxRememberedNames) {
        registry->names().insert(key, descriptor);
        registry->locks().insert(key, registry->locks().value(canonical));
        registry->spellings().insert(key, std::chrono::steady_clock::now());
    }
    return descriptor;
}

/** Forgets a descriptor: its slot and all its names, which are returned. Call with the mutex held. */
QSet<QString> forgetDescriptor(BDBObjTable* registry, int descriptor)
{
    QSet<QString> forgotten;
    registry->names().removeIf([&](const auto& entry) {
        if (entry.value() != descriptor)
            return false;
        forgotten.insert(entry.key());
        registry->spellings().remove(entry.key());
        return true;
    });
    registry->clearSlot(descriptor);
    return forgotten;
}

/** The lock of a name, or null. Call with the mutex held. */
std::shared_ptr<AccessLock> findLock(BDBObjTable* registry, const QString& key)
{
    if (auto lock = registry->locks().value(key))
        return lock;
    return registry->locks().value(canonicalEnvironmentKey(key));
}

BDBEnv* environmentAt(const BDBObjTable* registry, int descriptor)
{
    return static_cast<BDBEnv*>(registry->getObject(descriptor, BDBEnvType));
}

void logFailedOpening(const QByteArray& home, const QString& key, int rc)
{
    LOG_CRIT(LogOrigin, __LINE__) << "Failed to open env path: " << home << " id " << key.toUtf8() << " rc " << rc;
}

/** The end of an opening, also of one that memory runs out for: whoever waits for it would do so for good. */
class EndOfOpening {
public:
    explicit EndOfOpening(const QString& name) : name_(name) {}
    ~EndOfOpening() { openingEnvironments().finish(name_, result); }
    EndOfOpening(const EndOfOpening&) = delete;
    EndOfOpening& operator=(const EndOfOpening&) = delete;

    int result = ENOMEM; // of BDBEnv::open()

private:
    const QString& name_;
};

/** Opens an environment that nobody else is opening and registers it. Call without the mutex. */
int openNewEnv(BDBObjTable* registry, const QString& key, EnvironmentUse* env, int tableCapacity,
               const QByteArray& home, int* openResult)
{
    auto opened = std::make_unique<BDBEnv>(tableCapacity, DB_CXX_NO_EXCEPTIONS);
    *openResult = opened->open(home);
    if (*openResult != 0) {
        logFailedOpening(home, key, *openResult);
        return OpenFailed;
    }
    LOG_DEBUG << "Adding new env path " << home << " id " << key.toUtf8();
    const QString canonical = canonicalEnvironmentKey(opened->canonicalHome(), key);
    const QMutexLocker locker(&registry->mutex());
    const int descriptor = registerEnv(registry, opened.get(), canonical);
    // Kept: from here on the environment belongs to the registry or, when that is full, to nobody: closing it would
    // pull it away from the request that goes on with `env`.
    BDBEnv* registered = opened.release();
    *env = EnvironmentUse(registered, registered->uses());
    if (descriptor > 0)
        return 0;
    LOG_CRIT(LogOrigin, __LINE__) << "Failed to add env with id: " << key.toUtf8();
    return 2;
}

} // namespace

int openEnv(BDBObjTable* registry, const QString& key, EnvironmentUse* env, int tableCapacity, int create,
            const QByteArray& home)
{
    QMutexLocker locker(&registry->mutex());
    for (;;) {
        checkSpelling(registry, key);
        if (const int descriptor = findDescriptor(registry, key); descriptor >= 1) {
            BDBEnv* found = environmentAt(registry, descriptor);
            *env = EnvironmentUse(found, found->uses());
            return 0;
        }
        const QString canonical = canonicalEnvironmentKey(key);
        const bool closing = create != 0 && closingEnvironments().contains(canonical);
        std::shared_ptr<const OpeningEnvironments::Opening> opening;
        if (!closing)
            opening =
                create != 0 ? openingEnvironments().joinOrBegin(canonical) : openingEnvironments().find(canonical);
        locker.unlock();
        env->reset(); // it may hold on to the very environment that is being closed
        if (closing) {
            closingEnvironments().waitFor(canonical);
        } else if (opening) {
            if (const int rc = openingEnvironments().waitFor(opening); rc != 0 && create != 0) {
                logFailedOpening(home, key, rc);
                return OpenFailed;
            }
        } else if (create != 0) {
            EndOfOpening end(canonical);
            return openNewEnv(registry, key, env, tableCapacity, home, &end.result);
        } else {
            LOG_CRIT(LogOrigin, __LINE__) << "Failed to load env with id: " << key.toUtf8();
            return OpenFailed;
        }
        locker.relock();
    }
}

int registerEnv(BDBObjTable* registry, BDBEnv* env, const QString& key)
{
    auto lock = std::make_shared<AccessLock>(); // first: what has a descriptor is the registry's, and needs one
    const int descriptor = registry->addDesc(env);
    if (descriptor < 1)
        return -1;
    registry->names().insert(key, descriptor);
    registry->locks().insert(key, std::move(lock));
    return descriptor;
}

std::shared_ptr<AccessLock> lockEnv(BDBObjTable* registry, const QByteArray& tableName, bool exclusive)
{
    const QString key = environmentKey(environmentDirectory(tableName));
    for (;;) {
        std::shared_ptr<AccessLock> lock;
        {
            const QMutexLocker locker(&registry->mutex());
            lock = findLock(registry, key);
        }
        if (!lock) {
            LOG_ERROR(LogOrigin, __LINE__) << "Failed to find lock for dbid: " << key.toUtf8();
            return nullptr;
        }
        if (exclusive)
            lock->lockForWrite();
        else if (!lock->tryLockForRead())
            return nullptr;
        {
            const QMutexLocker locker(&registry->mutex());
            if (findLock(registry, key) == lock)
                return lock;
        }
        // While we waited, the environment was removed, and its lock with it. It may have been opened anew since.
        lock->unlock();
    }
}

void unlockEnv(BDBObjTable* registry, const QByteArray& tableName)
{
    std::shared_ptr<AccessLock> lock;
    {
        const QMutexLocker locker(&registry->mutex());
        lock = findLock(registry, environmentKey(environmentDirectory(tableName)));
    }
    if (lock)
        lock->unlock();
}

void dropEnvLock(BDBObjTable* registry, const std::shared_ptr<AccessLock>& lock)
{
    {
        const QMutexLocker locker(&registry->mutex());
        registry->locks().removeIf([&](const auto& entry) { return entry.value() == lock; });
    }
    lock->unlock();
}

void removeEnv(BDBObjTable* registry, const QByteArray& tableName, const std::shared_ptr<AccessLock>& held)
{
    const QString key = environmentKey(environmentDirectory(tableName));
    std::unique_ptr<BDBEnv> env;
    QSet<QString> names;
    {
        const QMutexLocker locker(&registry->mutex());
        const int descriptor =
            held ? registry->names().value(registry->locks().key(held), 0) : findDescriptor(registry, key);
        if (descriptor < 1)
            return;
        env.reset(environmentAt(registry, descriptor));
        if (!env)
            return;
        names = forgetDescriptor(registry, descriptor);
        closingEnvironments().add(names);
    }
    // Closing writes to disk and waits for threads, so it is done without the mutex; whoever wants to open this
    // environment again waits, all others go on.
    env->uses()->waitUnused();
    env.reset();
    closingEnvironments().remove(names);
}

int openIndex(BDBObjTable* table, const QString& key, const QByteArray& file, const char* subDb, BDBIndex** index)
{
    BDBEnv* env = table->env();
    if (env == nullptr) {
        LOG_CRIT(LogOrigin, __LINE__) << "bot_env is null";
        return -1;
    }
    const auto find = [&] {
        const QMutexLocker locker(&env->mutex());
        const int descriptor = env->names().value(key, 0);
        if (descriptor >= 1)
            *index = static_cast<BDBIndex*>(table->getObject(descriptor, BDBIndexType));
        return descriptor >= 1;
    };
    if (find())
        return 0;

    // One at a time, so that two requests never open the same database twice. An open may wait for the pages that
    // another request's transaction holds; meanwhile the table's mutex is free for all who find what they look for.
    const QMutexLocker opening(&env->openingMutex());
    if (find())
        return 0; // opened while this one waited
    auto opened = std::make_unique<BDBIndex>(env, DB_CXX_NO_EXCEPTIONS);
    const int rc = env->openDatabase(opened.get(), file, subDb, IndexFlags);
    if (rc != 0) {
        LOG_CRIT(LogOrigin, __LINE__) << "Failed to open DB dbpath: " << file << " dbname " << subDb << " rc " << rc
                                      << " flags " << IndexFlags;
        return NoHandle;
    }

    const QMutexLocker locker(&env->mutex());
    const int descriptor = env->addDesc(opened.get());
    if (descriptor < 1) {
        LOG_CRIT(LogOrigin, __LINE__) << "Failed to open DB with id: " << key.toUtf8();
        return NoHandle;
    }
    env->names().insert(key, descriptor | ENV_DESC_FLAG);
    *index = opened.release();
    return 0;
}
