#include "storage/bdbregistry.h"

#include "log/log.h"
#include "metrics/waits.h"
#include "storage/bdbenv.h"
#include "storage/closingenvironments.h"
#include "storage/environmentnames.h"
#include "storage/environmentpath.h"
#include "storage/openingenvironments.h"
#include "storage/registrykeys.h"

#include <QMutexLocker>

#include <QSet>

#include <algorithm>
#include <cerrno>
#include <vector>

namespace {

constexpr int OpenFailed = 3;

BDBEnv* environmentAt(const BDBObjTable* registry, int descriptor)
{
    return static_cast<BDBEnv*>(registry->getObject(descriptor, BDBEnvType));
}

/** findEnv() for a caller that holds the mutex. */
bool findRegistered(BDBObjTable* registry, const QString& key, EnvironmentUse* env)
{
    const auto [descriptor, access] = EnvironmentNames::find(registry, key);
    if (descriptor < 1)
        return false;
    BDBEnv* found = environmentAt(registry, descriptor);
    *env = EnvironmentUse(found, found->uses(), access);
    return true;
}

void logFailedOpening(const QByteArray& home, const QString& key, int rc)
{
    LOG_CRIT(LogOrigin::Engine, __LINE__)
        << "Failed to open env path: " << home << " id " << key.toUtf8() << " rc " << rc;
}

/** Finishes an open even when it runs out of memory: its waiters would otherwise wait forever. */
class EndOfOpening {
public:
    explicit EndOfOpening(const QString& name) : name_(name) {}
    ~EndOfOpening() { OpeningEnvironments::instance().finish(name_, result); }
    EndOfOpening(const EndOfOpening&) = delete;
    EndOfOpening& operator=(const EndOfOpening&) = delete;

    int result = ENOMEM; // of BDBEnv::open()

private:
    const QString& name_;
};

/** Opens and registers an environment that no other thread is opening. Call without the mutex. */
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
    const QString name = RegistryKeys::canonical(opened->canonicalHome(), key);
    const QMutexLocker locker(&registry->mutex());
    const bool isRegistered = Registry::registerEnv(registry, opened.get(), name) > 0;
    // Kept: from here on the environment belongs to the registry or, if that is full, to nobody: closing it would pull
    // it from under the request that continues with `env`.
    BDBEnv* registered = opened.release();
    *env = EnvironmentUse(registered, registered->uses(), registry->locks().value(name));
    if (isRegistered)
        return 0;
    LOG_CRIT(LogOrigin::Engine, __LINE__) << "Failed to add env with id: " << key.toUtf8();
    return 2;
}

} // namespace

int Registry::openEnv(BDBObjTable* registry, const QString& key, EnvironmentUse* env, int tableCapacity, int create,
                      const QByteArray& home)
{
    QMutexLocker locker(&registry->mutex());
    for (;;) {
        if (findRegistered(registry, key, env))
            return 0;
        const QString canonical = RegistryKeys::canonical(key);
        const bool closing = create != 0 && ClosingEnvironments::instance().contains(canonical);
        std::shared_ptr<const OpeningEnvironments::Opening> opening;
        if (!closing)
            opening = create != 0 ? OpeningEnvironments::instance().joinOrBegin(canonical)
                                  : OpeningEnvironments::instance().find(canonical);
        locker.unlock();
        env->reset(); // it may be a use of the very environment that is being closed
        if (closing) {
            const Metrics::LockWait wait;
            ClosingEnvironments::instance().waitFor(canonical);
        } else if (opening) {
            const Metrics::LockWait wait;
            if (const int rc = OpeningEnvironments::instance().waitFor(opening); rc != 0 && create != 0) {
                logFailedOpening(home, key, rc);
                return OpenFailed;
            }
        } else if (create != 0) {
            EndOfOpening end(canonical);
            return openNewEnv(registry, key, env, tableCapacity, home, &end.result);
        } else {
            LOG_CRIT(LogOrigin::Engine, __LINE__) << "Failed to load env with id: " << key.toUtf8();
            return OpenFailed;
        }
        locker.relock();
    }
}

bool Registry::findEnv(BDBObjTable* registry, const QString& key, EnvironmentUse* env)
{
    const QMutexLocker locker(&registry->mutex());
    return findRegistered(registry, key, env);
}

bool Registry::findSettledEnv(BDBObjTable* registry, const QString& key, EnvironmentUse* env)
{
    env->reset();
    QMutexLocker locker(&registry->mutex());
    for (;;) {
        if (findRegistered(registry, key, env))
            return true;
        const QString canonical = RegistryKeys::canonical(key);
        const bool closing = ClosingEnvironments::instance().contains(canonical);
        const auto opening = closing ? nullptr : OpeningEnvironments::instance().find(canonical);
        locker.unlock();
        if (closing)
            ClosingEnvironments::instance().waitFor(canonical);
        else if (!opening || OpeningEnvironments::instance().waitFor(opening) != 0)
            return false;
        locker.relock();
    }
}

int Registry::registerEnv(BDBObjTable* registry, BDBEnv* env, const QString& key)
{
    const auto access = std::make_shared<AccessLock>(); // first: an environment in the registry must have one
    const int descriptor = registry->addDesc(env);
    if (descriptor < 1)
        return -1;
    EnvironmentNames::add(registry, key, descriptor, access);
    return descriptor;
}

void Registry::removeEnv(BDBObjTable* registry, const QByteArray& tableName, const std::shared_ptr<AccessLock>& held)
{
    const QString key = RegistryKeys::environment(EnvironmentPath::ofTable(tableName));
    std::unique_ptr<BDBEnv> env;
    QSet<QString> names;
    {
        const QMutexLocker locker(&registry->mutex());
        const int descriptor = held ? registry->names().value(registry->locks().key(held), 0)
                                    : EnvironmentNames::find(registry, key).descriptor;
        if (descriptor < 1)
            return;
        env.reset(environmentAt(registry, descriptor));
        if (!env)
            return;
        names = EnvironmentNames::forget(registry, descriptor);
        registry->clearSlot(descriptor);
        ClosingEnvironments::instance().add(names);
    }
    // Closing writes to disk and waits for threads, so it is done without the mutex; only requests to reopen this
    // environment wait.
    {
        const Metrics::LockWait wait;
        env->uses()->waitUnused();
    }
    env.reset();
    ClosingEnvironments::instance().remove(names);
}

std::vector<EnvironmentUse> Registry::openEnvironments(BDBObjTable* registry)
{
    std::vector<EnvironmentUse> uses; // they may be removed meanwhile
    {
        const QMutexLocker locker(&registry->mutex());
        const QList<int> descriptors = registry->names().values(); // one for each spelling
        for (const int descriptor : QSet<int>(descriptors.begin(), descriptors.end())) {
            BDBEnv* env = environmentAt(registry, descriptor);
            uses.emplace_back(env, env->uses(), nullptr);
        }
    }
    std::sort(uses.begin(), uses.end(), [](const EnvironmentUse& one, const EnvironmentUse& other) {
        return one.env()->canonicalHome() < other.env()->canonicalHome();
    });
    return uses;
}

void Registry::flushAll(BDBObjTable* registry)
{
    for (const EnvironmentUse& use : openEnvironments(registry))
        (void)use.env()->log_flush(nullptr);
}
