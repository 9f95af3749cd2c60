#ifndef QUORVA_SERVER_LOCKFILE_H
#define QUORVA_SERVER_LOCKFILE_H

#include "base/descriptor.h"

#include <QByteArray>

#include <chrono>

/**
 * A lock that processes share by a file's name: a path, or, without a "/", a name inside the temporary directory
 * ($TMPDIR, else /tmp).
 *
 * Some programs lock files with flock, others with record locks, and neither sees the other kind. So a file counts as
 * held when it is locked in either way, and who acquires it here takes both. Nothing here waits inside the system: a
 * lock that is taken is tried again a little later. For one thread at a time.
 */
class LockFile {
public:
    enum class Wait {
        Acquired,  // held until the process ends
        TimedOut,  // somebody else held it all the time
        Abandoned, // won after waiting, but its holder ended without letting go in good order; not held
        Failed,    // the system refused; not held
    };

    /** Names no file when `name` is empty. */
    explicit LockFile(const QByteArray& name);

    bool isNamed() const { return !path_.isEmpty(); }
    const QByteArray& path() const { return path_; }

    /**
     * Closes the descriptors of this file, if any, that we were started with. A parent that locked the file and left
     * its descriptor open to its children would otherwise be outlived by its lock: our own copy would hold it. Where it
     * is standard input, output or error, /dev/null takes its place. For start-up, before anything of ours has opened
     * the file, and once the standard descriptors are open.
     */
    void closeInherited() const;

    /** Opens the file, creating it when it is missing. False when that fails: error() tells why. */
    [[nodiscard]] bool create();

    /** Opens the file for waitUntilFree() only. False when it is missing or there is no name: error() tells why. */
    [[nodiscard]] bool openExisting();

    /**
     * After create(): tries to lock the file until `limit` is over, writes our process id into it and keeps it locked
     * for as long as this object lives. The file is never deleted: whoever waits for it would then hold another file
     * than those who come after.
     *
     * A holder that lets go in good order empties the file before. One that waited and then finds a process id in the
     * file knows that the holder died, and what it left behind is unknown: Abandoned. A lock won at the first try is
     * taken whatever the file holds.
     */
    [[nodiscard]] Wait acquire(std::chrono::milliseconds limit);

    /**
     * After openExisting(): returns once nobody holds the file, at once when nobody does, else without limit. True
     * then; false when the system refuses to tell: error() tells why. Takes nothing away from those who want to lock
     * it.
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
