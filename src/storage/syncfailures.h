#ifndef QUORVA_STORAGE_SYNCFAILURES_H
#define QUORVA_STORAGE_SYNCFAILURES_H

#include <atomic>
#include <cstddef>
#include <filesystem>
#include <vector>

/**
 * Whether a sync of a file of an environment has failed.
 *
 * After a failure the system may keep the file's bytes in its cache and regard them as written. It reports that once:
 * the next sync succeeds. Commits behind a hole in the log would then count as durable, as would a checkpoint over
 * pages that are not on disk; and Berkeley DB would write pages whose changes are behind the hole. So after a failure
 * nothing in the environment counts as durable any more, and no sync succeeds, until it is opened again: all files are
 * then written anew before recovery reads them.
 *
 * The failure is also recorded by a file in the environment's home, for the server that opens it next. That file is not
 * synced, and need not be: a power failure also takes the cached bytes, and recovery then sees what is on disk.
 */
class SyncFailures {
public:
    SyncFailures() = default;
    /** Failures are no longer noticed. */
    ~SyncFailures();
    SyncFailures(const SyncFailures&) = delete;
    SyncFailures& operator=(const SyncFailures&) = delete;

    /**
     * Notices failures from here on, of files below `home` and below `directories`; canonical paths. Of environments
     * one below another, a file belongs to the inner one. To be called once.
     */
    void watch(const std::filesystem::path& home, std::vector<std::filesystem::path> directories);

    /** True after a failure. Any thread. */
    bool any() const noexcept { return any_; }

    /**
     * If an earlier failure is recorded, writes the environment's files anew, with the log files in `logs`, syncs them,
     * and removes the record. After watch(), before Berkeley DB reads any of them. Returns 0 or an errno value.
     */
    [[nodiscard]] int rewriteAfterEarlier(const std::filesystem::path& logs) const;

    /**
     * EIO if an earlier sync has failed in the environment of this file: Berkeley DB must not be told that this one
     * succeeds. Otherwise 0, at the cost of one comparison while there was no failure. Any thread.
     */
    [[nodiscard]] static int earlier(int descriptor) noexcept;

    /**
     * To be called for a sync that has failed with `error`, before any other use of the file. A file that is below none
     * of the directories may belong to any environment: links lead anywhere, and directories can be moved. Any thread.
     */
    static void note(int descriptor, int error) noexcept;
    static void note(const std::filesystem::path& path, int error) noexcept;

private:
    std::size_t depthAbove(const std::filesystem::path& path) const;
    void fail(const std::filesystem::path& path, int error) noexcept;
    template <typename Act> static void forEachOf(const std::filesystem::path& path, Act act);

    std::filesystem::path home_;
    std::filesystem::path record_;
    std::vector<std::filesystem::path> directories_; // with the home
    std::atomic<bool> any_ = false;
};

#endif
