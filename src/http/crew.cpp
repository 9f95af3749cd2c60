#include "http/crew.h"

#include <utility>

namespace Http {

Crew::Crew(int jobs) : limit_(jobs)
{
    for (int number = 0; number < jobs; ++number)
        threads_.emplace_back([this] {
            begun_.wait();
            work();
        });
}

Crew::~Crew()
{
    if (!hasRun_) {
        isOver_ = true;
        begun_.count_down();
    }
    for (std::thread& thread : threads_)
        thread.join();
}

void Crew::run(Step step)
{
    hasRun_ = true;
    step_ = std::move(step);
    begun_.count_down();
    work();
}

void Crew::post(Job&& job)
{
    const std::lock_guard lock(mutex_);
    jobs_.push_back(std::move(job));
}

Crew::Place Crew::takePlace()
{
    const std::lock_guard lock(mutex_);
    if (!jobs_.empty() || busy_ == limit_)
        return Place(nullptr);
    ++busy_;
    return Place(this);
}

void Crew::work()
{
    for (;;) {
        Job job;
        {
            const std::lock_guard turn(turn_);
            while (!isOver_ && !(job = takeJob()))
                isOver_ = !step_();
            if (!job)
                return;
        }
        while (job) {
            job();
            endJob();
            job = takeJob();
        }
    }
}

/** Returns null when there is no job, or when the limit of concurrent jobs is reached. */
Crew::Job Crew::takeJob()
{
    const std::lock_guard lock(mutex_);
    if (jobs_.empty() || busy_ == limit_)
        return nullptr;
    Job job = std::move(jobs_.front());
    jobs_.pop_front();
    ++busy_;
    return job;
}

void Crew::endJob()
{
    const std::lock_guard lock(mutex_);
    --busy_;
}

} // namespace Http
