#ifndef QUORVA_STORAGE_LOGPREPARATION_H
#define QUORVA_STORAGE_LOGPREPARATION_H

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <thread>

class BDBEnv;

/**
 * Prepares the next log file of an environment, of full length and filled with zeros, while the current one is being
 * written. Berkeley DB uses a file that exists, and reads a record of zeros as the end of the log. Synchronising a file
 * that does not grow costs the file system half as much, as neither its length nor its blocks change.
 *
 * An environment that writes little gets no such file: the preparation begins when a quarter of the current file is
 * written, and is skipped unless the file system has many times that much room. Only for logs that are synchronised
 * after they were written (DB_LOG_DSYNC is off), and only with EngineCalls::replace().
 *
 * Threads: any, except for the constructor and the destructor.
 */
class LogPreparation {
public:
    /** Starts the thread. `env` is not owned and outlives this object; `directory` is where its log files are. */
    LogPreparation(BDBEnv* env, std::filesystem::path directory);

    /** Ends the thread. */
    ~LogPreparation();
    LogPreparation(const LogPreparation&) = delete;
    LogPreparation& operator=(const LogPreparation&) = delete;

    /** False when the thread could not be started. */
    bool isRunning() const { return thread_.joinable(); }

    /** The log was flushed, so check how full the current file is. Waits for nothing. */
    void noteFlush() noexcept;

    /**
     * Removes what earlier preparations have left in a directory whose environment is closed: a file that was not
     * finished, and a log file that Berkeley DB has not begun to write. Recovery would ignore both.
     */
    static void removeUnused(const std::filesystem::path& directory);

private:
    void run();
    void prepareIfDue();
    int prepare(std::uint32_t number, std::uint32_t bytes);
    int fill(int descriptor, std::uint32_t bytes) const;
    int giveName(const std::filesystem::path& draft, const std::filesystem::path& name) const;

    BDBEnv* const env_;
    const std::filesystem::path directory_;
    std::uint32_t settled_ = 0; // nothing is left to be done up to this file; used by the thread only
    std::atomic<bool> flushed_ = false;
    std::atomic<bool> ending_ = false;
    std::thread thread_;
};

#endif
