#ifndef QUORVA_HTTP_WORKERPOOL_H
#define QUORVA_HTTP_WORKERPOOL_H

#include <httplib.h>

#include <functional>
#include <mutex>

namespace Http {

/** How many connections wait for a thread, and how many of those that have one make room for them. Any thread. */
class Crowd {
public:
    /** So many connections are served at once. */
    explicit Crowd(int threads);
    ~Crowd();
    Crowd(const Crowd&) = delete;
    Crowd& operator=(const Crowd&) = delete;

    /** An eventfd that is readable as long as more connections wait than make room. */
    int descriptor() const { return descriptor_; }

    /** True when the connection that this thread serves shall end, so that one that waits is served. */
    [[nodiscard]] bool makeRoom();

    void enter();
    /** On the thread that served the connection. */
    void leave();

private:
    void update();

    const int threads_;
    const int descriptor_;
    std::mutex mutex_;
    int present_ = 0;    // served or waiting
    int makingRoom_ = 0; // served, and about to leave
    bool isReadable_ = false;
};

/** The threads that serve connections, one each for as long as it lasts. */
class WorkerPool : public httplib::TaskQueue {
public:
    /** The crowd is the caller's and outlives this. */
    WorkerPool(int threads, Crowd* crowd) : crowd_(crowd), pool_(static_cast<size_t>(threads)) {}

    void enqueue(std::function<void()> task) override;
    /** Returns when everything that was enqueued is done. */
    void shutdown() override { pool_.shutdown(); }

private:
    Crowd* const crowd_;
    httplib::ThreadPool pool_;
};

} // namespace Http

#endif
