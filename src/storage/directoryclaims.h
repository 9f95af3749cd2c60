#ifndef QUORVA_STORAGE_DIRECTORYCLAIMS_H
#define QUORVA_STORAGE_DIRECTORYCLAIMS_H

#include "base/directorylock.h"

#include <QByteArray>

#include <cstddef>
#include <vector>

#include <sys/stat.h>

/**
 * The directories below an environment's home in which it has databases open. Each is locked with an exclusive `flock`,
 * like the home itself, so that no file is open in two environments with independent logs. While this object exists,
 * none of them can be opened as an environment.
 *
 * Threads: guarded by the environment's opening mutex.
 */
class DirectoryClaims {
public:
    /** The claims for one database open; released by the destructor unless kept. */
    class Attempt {
    public:
        explicit Attempt(DirectoryClaims* claims) : claims_(claims), before_(claims->held()) {}
        ~Attempt() { claims_->held_.erase(claims_->held_.begin() + before_, claims_->held_.end()); }
        Attempt(const Attempt&) = delete;
        Attempt& operator=(const Attempt&) = delete;

        void keep() { before_ = claims_->held(); }

    private:
        DirectoryClaims* claims_;
        std::ptrdiff_t before_;
    };

    /**
     * `descriptors`: how many more claim() will hold for `file` once all of its directories exist. A path can contain
     * two thousand. 0 or an errno value.
     */
    [[nodiscard]] int count(const QByteArray& home, const QByteArray& file, int* descriptors) const;

    /**
     * Claims the existing directories from that of the database file `file` up to `home`, the canonical path of the
     * environment. Links are followed; outside of `home` only the directory of the file is claimed. 0; EBUSY when one
     * of them is an environment of its own, by its log files or because it is locked; an errno value. A file directly
     * in `home` costs one system call. Each claimed directory keeps a descriptor open.
     */
    [[nodiscard]] int claim(const QByteArray& home, const QByteArray& file);

private:
    bool holds(const struct stat& status) const;
    std::ptrdiff_t held() const { return static_cast<std::ptrdiff_t>(held_.size()); }

    std::vector<Base::DirectoryLock> held_;
};

#endif
