#ifndef QUORVA_STORAGE_MAINTENANCETHREAD_H
#define QUORVA_STORAGE_MAINTENANCETHREAD_H

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

class BDBEnv;

/**
 * A background thread of one environment: it runs a cycle, sleeps, and repeats until stopped. A subclass implements the
 * cycle and starts the thread at the end of its constructor.
 *
 * stop() and waitStopped() may be called by any thread; stop() interrupts a sleep. The environment must outlive the
 * thread, and waitStopped() must be called before the destructor.
 *
 * Not a QThread: each of those opens a descriptor for an event loop that is never run, and aborts the process when none
 * is left.
 */
class MaintenanceThread {
public:
    enum State : int { Running = 0, StopRequested = 1, Stopped = 2 };

    virtual ~MaintenanceThread() = default;
    MaintenanceThread(const MaintenanceThread&) = delete;
    MaintenanceThread& operator=(const MaintenanceThread&) = delete;

    /** Also Stopped when the thread could not be created. */
    int state() const { return state_.load(); }
    void stop();

    /** Returns when the thread has ended. */
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
    std::mutex mutex_; // held to change state_, so that a sleeper misses no wake-up
    std::condition_variable stopRequested_;
    std::thread thread_;
};

#endif
