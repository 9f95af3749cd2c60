#ifndef QUORVA_STORAGE_ENVIRONMENTSTATUS_H
#define QUORVA_STORAGE_ENVIRONMENTSTATUS_H

#include "storage/bdbhotbackup.h"
#include "storage/enginefigures.h"
#include "storage/loghold.h"

#include <QByteArray>
#include <QByteArrayList>

#include <chrono>
#include <cstdint>
#include <optional>
#include <vector>

class BDBObjTable;

/** The state of an open environment, and what it has done since it was opened. */
struct EnvironmentStatus {
    QByteArray directory;  // the canonical path
    QByteArrayList tables; // those with an open file: the file parts of their names, in order
    qsizetype files = 0;   // open database files
    std::uint64_t commits = 0;
    std::uint64_t aborts = 0;
    std::uint64_t flushes = 0;
    std::optional<std::chrono::system_clock::time_point> lastCheckpoint;
    bool hasFailedSync = false; // so that nothing becomes durable, see syncfailures.h
    BDBBackupStatus backup;
    std::optional<LogHold::Holder> logHolder; // whom checkpoints keep the log files for
    std::optional<EngineFigures> engine;      // the latest that are known

    /**
     * Of all registered environments, in the order of their directories. Waits at most a fifth of a second for
     * environments that are blocked by their disk, and not again while they still are.
     */
    static std::vector<EnvironmentStatus> ofAll(BDBObjTable* registry);
};

#endif
