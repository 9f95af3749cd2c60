#ifndef QUORVA_STORAGE_ENGINEFIGURES_H
#define QUORVA_STORAGE_ENGINEFIGURES_H

#include <chrono>
#include <cstdint>
#include <filesystem>

class DbEnv;

/** Berkeley DB's statistics of one environment, and figures of its log files. Counts are those since it was opened. */
struct EngineFigures {
    /** When they were read. */
    std::chrono::system_clock::time_point time;

    std::uint64_t cacheBytes = 0;
    std::uint64_t cachePages = 0;
    std::uint64_t dirtyPages = 0;
    std::uint64_t cacheHits = 0;
    std::uint64_t cacheMisses = 0;

    std::uint64_t lockWaits = 0; // requests for a page lock that had to wait
    std::uint64_t deadlocks = 0; // that were broken

    std::uint32_t logFile = 0; // where the next record goes
    std::uint32_t logOffset = 0;
    std::uint64_t logFiles = 0;
    std::uint64_t logBytes = 0; // of all log files on disk

    /**
     * Reads all of them; `logs` is the directory of the log files. May wait for the disk: for a checkpoint that
     * synchronises a database, or a flush of the log. 0, or Berkeley DB's code. Any thread.
     */
    [[nodiscard]] static int read(DbEnv* env, const std::filesystem::path& logs, EngineFigures* figures);
};

#endif
