#include "storage/enginesampler.h"

#include "base/trythread.h"

EngineSampler::~EngineSampler()
{
    {
        const std::lock_guard lock(state_->mutex);
        state_->ending = true;
        state_->changed.notify_all();
    }
    if (thread_.joinable())
        thread_.join();
}

EngineSampler::Order EngineSampler::order()
{
    Order order;
    order.state_ = state_;
    const std::lock_guard lock(state_->mutex);
    order.mayWait_ = state_->ordered == state_->done;
    order.number_ = ++state_->ordered;
    if (!thread_.joinable()) {
        thread_ = Base::tryThread([this] { run(); });
        if (!thread_.joinable()) {
            order.mayWait_ = false;
            return order;
        }
    }
    state_->changed.notify_all();
    return order;
}

void EngineSampler::run()
{
    std::unique_lock lock(state_->mutex);
    for (;;) {
        state_->changed.wait(lock, [this] { return state_->ending || state_->done < state_->ordered; });
        if (state_->ending)
            return;
        const std::uint64_t number = state_->ordered;
        lock.unlock();
        EngineFigures figures;
        const int rc = read_(&figures);
        lock.lock();
        if (rc == 0)
            state_->figures = figures;
        state_->done = number;
        state_->changed.notify_all();
    }
}

std::optional<EngineFigures> EngineSampler::Order::wait(std::chrono::steady_clock::time_point deadline) const
{
    std::unique_lock lock(state_->mutex);
    if (mayWait_)
        (void)state_->changed.wait_until(lock, deadline, [this] { return state_->ending || state_->done >= number_; });
    return state_->figures;
}
