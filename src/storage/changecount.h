#ifndef QUORVA_STORAGE_CHANGECOUNT_H
#define QUORVA_STORAGE_CHANGECOUNT_H

#include <atomic>
#include <cstdint>
#include <optional>

/**
 * Tells whether data may have changed since a reader looked at it, without a lock. A change is announced before it
 * becomes visible and ends after it has. Any number of readers and writers; any thread.
 *
 * What was read after stamp() is current as long as stamp() returns the same again: a change that the reader missed
 * ended later, and one that it saw in part is still under way.
 */
class ChangeCount {
public:
    using Stamp = std::uint64_t;

    /** The number of changes so far; none while one is in progress. */
    std::optional<Stamp> stamp() const
    {
        const Stamp state = state_.load();
        return (state & UnderWay) == 0 ? std::optional(state) : std::nullopt;
    }

    /** A change, for its lifetime. */
    class Change {
    public:
        /** Null: nothing changes. */
        explicit Change(ChangeCount* count) : count_(count)
        {
            if (count_ != nullptr)
                ++count_->state_;
        }
        ~Change()
        {
            if (count_ != nullptr)
                count_->state_ += Ended - 1;
        }
        Change(const Change&) = delete;
        Change& operator=(const Change&) = delete;

    private:
        ChangeCount* const count_;
    };

private:
    static constexpr Stamp Ended = Stamp{1} << 16; // above more changes than can be under way at a time
    static constexpr Stamp UnderWay = Ended - 1;

    std::atomic<Stamp> state_ = 0; // changes that have ended, and in the low bits those that have not
};

#endif
