#ifndef QUORVA_STORAGE_DIRECTORYLOCK_H
#define QUORVA_STORAGE_DIRECTORYLOCK_H

#include <QByteArray>

#include <sys/stat.h>

/**
 * An exclusive `flock` on a directory, held while the object lives. No file is made for it, and it is the directory
 * itself that is held, under whatever path it can be reached later.
 */
class DirectoryLock {
public:
    DirectoryLock() = default;
    DirectoryLock(DirectoryLock&& other) noexcept;
    DirectoryLock& operator=(DirectoryLock&& other) noexcept;
    ~DirectoryLock();

    /** 0; EWOULDBLOCK when somebody else holds it; an errno value. Called once. */
    [[nodiscard]] int lock(const QByteArray& path);

    /** Whether `path` leads to the directory that is held. */
    bool isAt(const QByteArray& path) const;

    /** Whether `status` is that of the directory that is held. */
    bool is(const struct stat& status) const;

private:
    int descriptor_ = -1; // owned
    dev_t device_ = 0;
    ino_t inode_ = 0;
};

#endif
