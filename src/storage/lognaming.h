#ifndef QUORVA_STORAGE_LOGNAMING_H
#define QUORVA_STORAGE_LOGNAMING_H

#include <sys/types.h>

/**
 * The periods in which a log file has a name that a power failure could still lose. Berkeley DB may begin to write to
 * the file as soon as it has the name, and syncs bytes, not names: a commit, or a page that relies on the log, must not
 * count as durable until the name is. So a renaming is announced before it is done, and syncs on the same file system
 * return only once the name is durable.
 *
 * Any thread.
 */
class LogNaming {
public:
    /** `device`: the file system. The name is given, and made durable, while this object exists. */
    explicit LogNaming(dev_t device);
    ~LogNaming();
    LogNaming(const LogNaming&) = delete;
    LogNaming& operator=(const LogNaming&) = delete;

    /** Waits until no name is pending on the file system of an open file. Leaves errno as it is. */
    static void awaitNames(int descriptor) noexcept;

private:
    const dev_t device_;
};

#endif
