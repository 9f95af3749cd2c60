#ifndef QUORVA_STORAGE_MAINTENANCETHREAD_H
#define QUORVA_STORAGE_MAINTENANCETHREAD_H

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

class BDBEnv;

/**
 * A thread that looks after one environment: it runs a cycle, sleeps, and runs the next, until it is told to stop. A
 * subclass is one cycle and starts the thread in its constructor, when it is whole.
 *
 * stop() and waitStopped() may be called by any thread; a sleep ends at once then. The environment must outlive the
 * thread, and waitStopped() must come before the destructor.
 *
 * Not a QThread: each of those opens a descriptor for an event loop that nobody runs, and the process is aborted when
 * none is left.
 */
class MaintenanceThread {
public:
    enum State : int { Running = 0, StopRequested = 1, Stopped = 2 };

    virtual ~MaintenanceThread() = default;
    MaintenanceThread(const MaintenanceThread&) = delete;
    MaintenanceThread& operator=(const MaintenanceThread&) = delete;

    /** Stopped also when the system had no thread for it. */
    int state() const { return state_.load(); }
    void stop();

    /** Returns when the thread has stopped and is gone. */
    void waitStopped();

protected:
    /** `env` is not owned; `period` is the sleep after each cycle. */
    MaintenanceThread(BDBEnv* env, std::chrono::milliseconds period) : env_(env), period_(period) {}

    void start();
    virtual void cycle() = 0;

    BDBEnv* env() const { return env_; }

private:
    void run();

    BDBEnv* const env_;
    const std::chrono::milliseconds period_;
    std::atomic<int> state_{Running};
    std::mutex mutex_; // held for changes of state_, for the sake of the sleeper
    std::condition_variable stopRequested_;
    std::thread thread_;
};

#endif
