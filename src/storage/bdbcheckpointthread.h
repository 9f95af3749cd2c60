#ifndef QUORVA_STORAGE_BDBCHECKPOINTTHREAD_H
#define QUORVA_STORAGE_BDBCHECKPOINTTHREAD_H

#include "storage/maintenanceperiods.h"
#include "storage/maintenancethread.h"

/**
 * Writes checkpoints and, while no hot backup wants them, removes the log files that recovery no longer needs. A server
 * that cannot write a checkpoint does not go on serving: the process ends at once with status 1. An environment without
 * content (see BDBEnv::hasContent) has nothing that a checkpoint could save: it gets a line, and all others go on.
 */
class BDBCheckpointThread final : public MaintenanceThread {
public:
    explicit BDBCheckpointThread(BDBEnv* env, std::chrono::milliseconds period = MaintenancePeriods::Checkpoint);

private:
    void cycle() override;
};

#endif
