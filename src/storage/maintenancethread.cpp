#include "storage/maintenancethread.h"

#include "base/trythread.h"

void MaintenanceThread::start()
{
    thread_ = Base::tryThread([this] { run(); });
    if (!thread_.joinable())
        state_ = Stopped;
}

void MaintenanceThread::stop()
{
    const std::lock_guard lock(mutex_);
    if (state_ == Running)
        state_ = StopRequested;
    stopRequested_.notify_all();
}

void MaintenanceThread::waitStopped()
{
    if (thread_.joinable())
        thread_.join();
}

void MaintenanceThread::run()
{
    while (state_ < StopRequested) {
        cycle();
        std::unique_lock lock(mutex_);
        stopRequested_.wait_for(lock, period_, [this] { return state_ >= StopRequested; });
    }
    state_ = Stopped;
}
