#ifndef QUORVA_STORAGE_ENGINEFIGURES_H
#define QUORVA_STORAGE_ENGINEFIGURES_H

#include <chrono>
#include <cstdint>
#include <filesystem>

class DbEnv;

/** What Berkeley DB tells of one environment, and its log's files. Counts are those since it was opened. */
struct EngineFigures {
    /** When they were read. */
    std::chrono::system_clock::time_point time;

    std::uint64_t cacheBytes = 0;
    std::uint64_t cachePages = 0;
    std::uint64_t dirtyPages = 0;
    std::uint64_t cacheHits = 0;
    std::uint64_t cacheMisses = 0;

    std::uint64_t lockWaits = 0; // requests for a page lock that had to wait
    std::uint64_t deadlocks = 0; // broken ones

    std::uint32_t logFile = 0; // where the next record goes
    std::uint32_t logOffset = 0;
    std::uint64_t logFiles = 0;
    std::uint64_t logBytes = 0; // that all log files take on the disk

    /**
     * Reads them: the log files' from the directory `logs`. Waits for a checkpoint that synchronises a database, and
     * for a flush of the log: a disk that takes its time. 0, or Berkeley DB's code. Any thread.
     */
    [[nodiscard]] static int read(DbEnv* env, const std::filesystem::path& logs, EngineFigures* figures);
};

#endif
