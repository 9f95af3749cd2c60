#ifndef QUORVA_STORAGE_BDBSTATPRINTTHREAD_H
#define QUORVA_STORAGE_BDBSTATPRINTTHREAD_H

#include "storage/maintenanceperiods.h"
#include "storage/maintenancethread.h"

/** Prints the statistics that the `-s` level selects, through the environment's message callback, into the log. */
class BDBStatPrintThread final : public MaintenanceThread {
public:
    explicit BDBStatPrintThread(BDBEnv* env, std::chrono::milliseconds period = MaintenancePeriods::StatPrint);

private:
    void cycle() override;
};

#endif
