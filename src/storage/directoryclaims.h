#ifndef QUORVA_STORAGE_DIRECTORYCLAIMS_H
#define QUORVA_STORAGE_DIRECTORYCLAIMS_H

#include "base/directorylock.h"

#include <QByteArray>

#include <cstddef>
#include <vector>

#include <sys/stat.h>

/**
 * The directories below an environment's own in which it has databases open. Each is held with an exclusive `flock`,
 * like the environment's directory itself: no file is in two environments at a time, whose logs would know nothing of
 * each other. Whoever opens one of them as an environment is refused as long as this object lives.
 *
 * Threads: guarded by the environment's opening mutex.
 */
class DirectoryClaims {
public:
    /** The claims for one database that is being opened; given back at the end unless kept. */
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
     * `descriptors`: how many more claim() is going to hold for `file` once all of its directories are there. A path
     * has room for two thousand of them. 0 or an errno value.
     */
    [[nodiscard]] int count(const QByteArray& home, const QByteArray& file, int* descriptors) const;

    /**
     * Claims the directories, as far as they exist, from that of the database file `file` up to `home`, the canonical
     * path of the environment. Links are followed; outside of `home` only the directory of the file is claimed. Result
     * 0; EBUSY when one of them is an environment of its own, by its log files or because somebody holds it; an errno
     * value. A file right in `home` costs one system call. A claimed directory is a descriptor that stays open.
     */
    [[nodiscard]] int claim(const QByteArray& home, const QByteArray& file);

private:
    bool holds(const struct stat& status) const;
    std::ptrdiff_t held() const { return static_cast<std::ptrdiff_t>(held_.size()); }

    std::vector<Base::DirectoryLock> held_;
};

#endif
