#ifndef QUORVA_STORAGE_BDBCACHEFLUSHTHREAD_H
#define QUORVA_STORAGE_BDBCACHEFLUSHTHREAD_H

#include "storage/maintenanceperiods.h"
#include "storage/maintenancethread.h"

/** Writes dirty pages until a share of the cache is clean, so that requests can evict pages without writing them. */
class BDBCacheFlushThread final : public MaintenanceThread {
public:
    explicit BDBCacheFlushThread(BDBEnv* env, std::chrono::milliseconds period = MaintenancePeriods::CacheFlush);

private:
    void cycle() override;
};

#endif
