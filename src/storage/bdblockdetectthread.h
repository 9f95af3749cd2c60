#ifndef QUORVA_STORAGE_BDBLOCKDETECTTHREAD_H
#define QUORVA_STORAGE_BDBLOCKDETECTTHREAD_H

#include "storage/maintenanceperiods.h"
#include "storage/maintenancethread.h"

/** Breaks deadlocks: makes the youngest locker of the cycle the victim. */
class BDBLockDetectThread final : public MaintenanceThread {
public:
    explicit BDBLockDetectThread(BDBEnv* env, std::chrono::milliseconds period = MaintenancePeriods::LockDetect);

private:
    void cycle() override;
};

#endif
