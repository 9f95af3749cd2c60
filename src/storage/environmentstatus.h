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

/** What an open environment does and has done since it was opened. */
struct EnvironmentStatus {
    QByteArray directory;  // the canonical path
    QByteArrayList tables; // of which a file is open, by their names' file parts, in order
    qsizetype files = 0;   // open database files
    std::uint64_t commits = 0;
    std::uint64_t aborts = 0;
    std::uint64_t flushes = 0;
    std::optional<std::chrono::system_clock::time_point> lastCheckpoint;
    BDBBackupStatus backup;
    std::optional<LogHold::Holder> logHolder; // whom checkpoints keep the log files for
    std::optional<EngineFigures> engine;      // the latest that are known

    /**
     * Of all registered environments, in the order of their directories. Waits a fifth of a second at most for
     * environments whose disk holds them up, and not again as long as it still does.
     */
    static std::vector<EnvironmentStatus> ofAll(BDBObjTable* registry);
};

#endif
