#include "storage/maintenancethread.h"

#include <system_error>

void MaintenanceThread::start()
{
    try {
        thread_ = std::thread([this] { run(); });
    } catch (const std::system_error&) {
        state_ = Stopped;
    }
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
