#include "storage/environmentstatus.h"

#include "storage/bdbenv.h"
#include "storage/bdbregistry.h"

#include <QMutexLocker>

namespace {

constexpr std::chrono::milliseconds LongestWait{200};

EnvironmentStatus statusOf(BDBEnv* env)
{
    EnvironmentStatus status;
    status.directory = env->canonicalHome();
    status.tables = env->openTables().names();
    {
        const QMutexLocker locker(&env->mutex());
        status.files = env->names().size();
    }
    const BDBEnv::Activity activity = env->activity();
    status.commits = activity.commits;
    status.aborts = activity.aborts;
    status.flushes = activity.flushes;
    status.lastCheckpoint = activity.lastCheckpoint;
    status.hasFailedSync = env->hasFailedSync();
    status.backup = env->backupStatus();
    status.logHolder = env->logHold().holder();
    return status;
}

} // namespace

std::vector<EnvironmentStatus> EnvironmentStatus::ofAll(BDBObjTable* registry)
{
    std::vector<EnvironmentStatus> all;
    std::vector<EngineSampler::Order> orders;
    // The environments are left before the wait: a use keeps an environment from being closed.
    for (const EnvironmentUse& use : Registry::openEnvironments(registry)) {
        all.push_back(statusOf(use.env()));
        orders.push_back(use.env()->sampler().order());
    }
    const auto deadline = std::chrono::steady_clock::now() + LongestWait;
    for (std::size_t i = 0; i < all.size(); ++i)
        all[i].engine = orders[i].wait(deadline);
    return all;
}
