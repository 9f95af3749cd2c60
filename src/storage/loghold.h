#ifndef QUORVA_STORAGE_LOGHOLD_H
#define QUORVA_STORAGE_LOGHOLD_H

#include <QByteArray>

#include <chrono>
#include <filesystem>
#include <mutex>
#include <optional>

/**
 * Whether checkpoints may remove the log files of an environment that recovery no longer needs.
 *
 * In a directory that removes unneeded log files (ServerSettings::RemoveUnneededLogs), they may unless a backup holds
 * the log: from the start of the backup until it is stopped or fails, whether or not its log shipping is running, and
 * whatever happens to the server in between. So the hold is a file in the directory. In all other directories, the
 * process-wide Settings::backupDisabled() decides, and the hold has no effect.
 *
 * Threads: any, except for open().
 */
class LogHold {
public:
    /** Before any other call. 0, or an errno value if the file of a hold cannot be read. */
    [[nodiscard]] int open(const std::filesystem::path& home, bool removesUnneeded);

    enum Beginning {
        Copy,    // of the environment; replaces what the target has
        Shipping // of log files, to an existing copy
    };

    /**
     * A backup to `target` begins. Once this has returned 0, no log file is removed, also after a crash. An errno value
     * if the hold cannot be recorded; nothing has changed then.
     */
    [[nodiscard]] int take(const QByteArray& target, Beginning beginning);

    /** The backup that took the hold needs nothing more of the previous one, which has ended. */
    void settle();

    /**
     * The backup that took the hold has failed. Before settle(), the hold returns to the previous backup, whose log
     * shipping can be resumed; afterwards it ends.
     */
    void fail();

    /** No backup needs the log files. If the file of the hold cannot be removed, logs a WARN line and keeps the hold.
     */
    void release();

    /** The backup for which the log is kept. */
    struct Holder {
        QByteArray target;
        std::chrono::system_clock::time_point since; // when the file was written, possibly by an earlier server
    };
    /** Unset if no backup holds the log, or if that has no effect in the directory. Waits for nothing. */
    std::optional<Holder> holder() const;

    /** Keeps backups from beginning while a checkpoint decides and removes log files. */
    class Removal {
    public:
        explicit Removal(LogHold& hold) : hold_(hold), lock_(hold.mutex_) {}

        bool isAllowed() const;

    private:
        const LogHold& hold_;
        const std::lock_guard<std::mutex> lock_;
    };

private:
    int write(const std::optional<Holder>& holder);

    void setHolder(const std::optional<Holder>& holder);

    std::mutex mutex_;               // held while files are written and removed
    mutable std::mutex holderMutex_; // held briefly, last in the lock order
    std::filesystem::path home_;
    bool removesUnneeded_ = false;
    std::optional<Holder> holder_;   // written under both mutexes, read under either
    std::optional<Holder> previous_; // guarded by mutex_; who held it before, until settle()
};

#endif
