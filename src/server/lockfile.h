#ifndef QUORVA_SERVER_LOCKFILE_H
#define QUORVA_SERVER_LOCKFILE_H

#include "base/descriptor.h"

#include <QByteArray>

#include <chrono>

/**
 * A lock shared between processes by the name of a file: a path, or, without a "/", a name in the temporary directory
 * ($TMPDIR, otherwise /tmp).
 *
 * Some programs lock files with flock, others with record locks, and neither sees the other kind. So a file counts as
 * held if it is locked in either way, and acquiring it takes both locks. No call blocks in the kernel: a lock held by
 * another process is polled. For one thread at a time.
 */
class LockFile {
public:
    enum class Wait {
        Acquired,  // held until the process exits
        TimedOut,  // another process held it all the time
        Abandoned, // obtained after a wait, but its holder exited without a clean release; not held
        Failed,    // system error; not held
    };

    /** No file if `name` is empty. */
    explicit LockFile(const QByteArray& name);

    bool isNamed() const { return !path_.isEmpty(); }
    const QByteArray& path() const { return path_; }

    /**
     * Closes inherited descriptors of this file. If the parent locked the file and left its descriptor open to its
     * children, our copy would keep the lock after the parent's death. A standard stream among them is replaced with
     * /dev/null. For start-up, before this process opens the file, and once the standard descriptors are open.
     */
    void closeInherited() const;

    /** Opens the file, creating it if missing. False on failure, see error(). */
    [[nodiscard]] bool create();

    /** Opens the file for waitUntilFree() only. False when it is missing or there is no name, see error(). */
    [[nodiscard]] bool openExisting();

    /**
     * After create(): tries for up to `limit` to lock the file, writes our process id into it and keeps it locked for
     * the lifetime of this object. The file is never deleted: processes waiting for it would then lock a different file
     * than later ones.
     *
     * A holder truncates the file before a clean release. A process that waited and then finds a process id in the file
     * knows that the holder died and left an unknown state: Abandoned. A lock obtained at the first try is taken
     * whatever the file contains.
     */
    [[nodiscard]] Wait acquire(std::chrono::milliseconds limit);

    /**
     * After openExisting(): waits, without limit, until the file is not held. True then; false on a system error, see
     * error(). Does not interfere with processes that want to lock it.
     */
    [[nodiscard]] bool waitUntilFree();

    /** The errno of the latest failure. */
    int error() const { return error_; }

private:
    enum class Try { Taken, Held, Failed };

    bool open(int flags);
    Try tryLock();
    Try recordLock(int command);
    Try fileLock();
    void unlock();
    bool holdsProcessId() const;
    void writeProcessId() const;

    QByteArray path_;
    Base::Descriptor descriptor_; // carries the locks
    int error_ = 0;
};

#endif
