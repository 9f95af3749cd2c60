#ifndef QUORVA_REQUEST_LATEST_H
#define QUORVA_REQUEST_LATEST_H

#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>
#include <utility>
#include <vector>

/** The latest `Kept` reports of a kind, and how many there have been. Any thread. */
template <class Report, std::size_t Kept> class Latest {
public:
    void add(Report report)
    {
        const std::lock_guard lock(mutex_);
        ++count_;
        reports_.push_front(std::move(report));
        if (reports_.size() > Kept)
            reports_.pop_back();
    }

    /** Newest first. */
    std::vector<Report> reports() const
    {
        const std::lock_guard lock(mutex_);
        return {reports_.begin(), reports_.end()};
    }

    std::uint64_t count() const
    {
        const std::lock_guard lock(mutex_);
        return count_;
    }

private:
    mutable std::mutex mutex_;
    std::deque<Report> reports_; // guarded by mutex_
    std::uint64_t count_ = 0;    // guarded by mutex_
};

#endif
