#ifndef QUORVA_STORAGE_BDBCHECKPOINTTHREAD_H
#define QUORVA_STORAGE_BDBCHECKPOINTTHREAD_H

#include "storage/maintenanceperiods.h"
#include "storage/maintenancethread.h"

/**
 * Writes checkpoints and, if LogHold allows it, removes the log files that recovery no longer needs. A failed
 * checkpoint terminates the process immediately with status 1. In an environment without content (see
 * BDBEnv::hasContent) there is nothing to save: the failure is only logged, and the server keeps running.
 */
class BDBCheckpointThread final : public MaintenanceThread {
public:
    explicit BDBCheckpointThread(BDBEnv* env, std::chrono::milliseconds period = MaintenancePeriods::Checkpoint);

private:
    void cycle() override;
};

#endif
