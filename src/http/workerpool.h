#ifndef QUORVA_HTTP_WORKERPOOL_H
#define QUORVA_HTTP_WORKERPOOL_H

#include <httplib.h>

#include <atomic>
#include <functional>

namespace Http {

/**
 * The threads that serve connections, one each for as long as it lasts. When all are taken and another connection
 * waits, one of those that wait for a client's next request is asked to give way, so that idle clients keep nobody out.
 */
class WorkerPool : public httplib::TaskQueue {
public:
    /** `giveWay` is an eventfd that counts (EFD_SEMAPHORE), owned by the caller; it gets one for each such wish. */
    WorkerPool(int threads, int giveWay) : threads_(threads), giveWay_(giveWay), pool_(static_cast<size_t>(threads)) {}

    /** For one thread. */
    void enqueue(std::function<void()> task) override;
    /** Returns when everything that was enqueued is done. */
    void shutdown() override { pool_.shutdown(); }

private:
    const int threads_;
    const int giveWay_;
    std::atomic<int> taken_ = 0; // tasks that run or wait
    httplib::ThreadPool pool_;
};

} // namespace Http

#endif
