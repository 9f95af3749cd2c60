#ifndef QUORVA_HTTP_DEADLINE_H
#define QUORVA_HTTP_DEADLINE_H

#include "http/asynctypes.h"

#include <memory>
#include <new>
#include <utility>

namespace Http {

/**
 * A deadline that is postponed far more often than it expires: its timer is only rearmed when it has fired or would
 * fire too late. For the transport's thread.
 */
class Deadline {
public:
    explicit Deadline(const Executor& executor) : timer_(executor) {}

    /** Calls `owner`'s onTimeout() at that time, or its end() if there is no memory to wait for it. The owner contains
     * this object; the timer keeps it alive. */
    template <typename Owner> void set(Clock::time_point time, Owner* owner)
    {
        time_ = time;
        if (time_ < alarm_)
            setAlarm(owner->shared_from_this());
    }

    /** Removes the deadline. The timer keeps running. */
    void clear() { time_ = Never; }
    /** The same, and stops the timer, which then no longer keeps the owner alive. */
    void cancel()
    {
        clear();
        ErrorCode ignored; // it does not fail; destructors call this
        timer_.cancel(ignored);
    }

private:
    static constexpr Clock::time_point Never = Clock::time_point::max();

    template <typename Owner> void setAlarm(std::shared_ptr<Owner> owner)
    {
        alarm_ = time_;
        timer_.expires_at(alarm_);
        timer_.async_wait([this, owner = std::move(owner)](const ErrorCode& error) {
            if (!error)
                onAlarm(owner);
        });
    }

    /** Nothing else would ever end the owner. */
    template <typename Owner> void setAlarmOrEnd(const std::shared_ptr<Owner>& owner)
    {
        try {
            setAlarm(owner);
        } catch (const std::bad_alloc&) {
            owner->end();
            throw;
        }
    }

    template <typename Owner> void onAlarm(const std::shared_ptr<Owner>& owner)
    {
        alarm_ = Never;
        if (Clock::now() >= time_)
            owner->onTimeout();
        else if (time_ != Never)
            setAlarmOrEnd(owner);
    }

    Timer timer_;
    Clock::time_point time_ = Never;
    Clock::time_point alarm_ = Never; // when the timer fires; not after the deadline
};

} // namespace Http

#endif
