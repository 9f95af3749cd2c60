#ifndef QUORVA_STORAGE_LOGNAMING_H
#define QUORVA_STORAGE_LOGNAMING_H

#include <sys/types.h>

/**
 * The moments at which a log file has a name that a loss of power could still take away. Berkeley DB may begin to write
 * to the file as soon as it has the name, and synchronises bytes, not names: a commit, or a page that relies on the
 * log, must not count as durable until the name is. So whoever gives a name announces it, and synchronisations on the
 * same file system return only when the name is durable.
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
