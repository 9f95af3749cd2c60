#ifndef QUORVA_HTTP_CREW_H
#define QUORVA_HTTP_CREW_H

#include <deque>
#include <functional>
#include <latch>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace Http {

/**
 * Threads that take turns at running an event loop. The thread whose turn it is, the leader, runs it step by step; when
 * a step posts a job, the leader passes the turn on and runs the job itself, so that a request is served without a
 * context switch. There is one more thread than the limit of jobs, so the loop never waits for a job.
 */
class Crew {
public:
    using Job = std::function<void()>;
    /** Waits for an event and handles it; returns false when there will be no more. Must not throw. */
    using Step = std::function<bool()>;

    /** `jobs` is the limit of concurrent jobs. */
    explicit Crew(int jobs);
    ~Crew();
    Crew(const Crew&) = delete;
    Crew& operator=(const Crew&) = delete;

    /**
     * Runs the crew, once, with the calling thread as a member; returns when the loop has ended. No job may run longer
     * than that.
     */
    void run(Step step);

    /** Queues a job, which must not throw. To be called only within a step. */
    void post(Job&& job);

    /** The place of a job, taken by work that steps do; null for none. */
    class Place {
    public:
        explicit Place(Crew* crew) : crew_(crew) {}
        Place(Place&& other) noexcept : crew_(std::exchange(other.crew_, nullptr)) {}
        Place& operator=(Place&&) = delete;
        ~Place()
        {
            if (crew_ != nullptr)
                crew_->endJob();
        }
        explicit operator bool() const { return crew_ != nullptr; }

    private:
        Crew* crew_;
    };
    /** Takes a place if one is free and no job waits for it. To be called, and the place to be given up, within steps.
     */
    [[nodiscard]] Place takePlace();

private:
    void work();
    Job takeJob();
    void endJob();

    const int limit_;
    Step step_;
    bool hasRun_ = false; // for the thread that created this object
    std::mutex turn_;     // held by the leader
    bool isOver_ = false; // guarded by turn_
    std::mutex mutex_;
    std::deque<Job> jobs_; // guarded by mutex_: jobs not yet started
    int busy_ = 0;         // guarded by mutex_
    std::latch begun_{1};
    std::vector<std::thread> threads_;
};

} // namespace Http

#endif
