#ifndef QUORVA_HTTP_CREW_H
#define QUORVA_HTTP_CREW_H

#include <deque>
#include <functional>
#include <latch>
#include <mutex>
#include <thread>
#include <vector>

namespace Http {

/**
 * Threads that take turns at an event loop. The one whose turn it is runs it step by step; when a step leaves a job, it
 * hands the turn on and does the job itself, so that a request needs no switch of threads before it is served. There
 * is one thread more than may do jobs, so the loop never waits for a job.
 */
class Crew {
public:
    using Job = std::function<void()>;
    /** Waits for an event and handles it; false when there will be no more. Must not throw. */
    using Step = std::function<bool()>;

    /** So many jobs are done at once. */
    explicit Crew(int jobs);
    ~Crew();
    Crew(const Crew&) = delete;
    Crew& operator=(const Crew&) = delete;

    /** Once. The calling thread is one of the crew; returns when the loop is over. No job may outlast that. */
    void run(Step step);

    /** A job to be done soon; only within a step. Must not throw. */
    void post(Job&& job);

private:
    void work();
    Job takeJob();
    void endJob();

    const int limit_;
    Step step_;
    bool hasRun_ = false; // for the thread that made this
    std::mutex turn_;     // held by the thread that leads
    bool isOver_ = false; // guarded by turn_
    std::mutex mutex_;
    std::deque<Job> jobs_; // guarded by mutex_: those that nobody does yet
    int busy_ = 0;         // guarded by mutex_
    std::latch begun_{1};
    std::vector<std::thread> threads_;
};

} // namespace Http

#endif
