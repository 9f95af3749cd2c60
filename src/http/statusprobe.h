#ifndef QUORVA_HTTP_STATUSPROBE_H
#define QUORVA_HTTP_STATUSPROBE_H

#include "http/serverpool.h"

#include <QByteArray>
#include <QVariantMap>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace Http {

/**
 * Asks the server for its status, on its own thread and connection: even while all others wait for the server, an
 * answer or its absence is known within a bounded time.
 */
class StatusProbe {
public:
    struct Result {
        bool isSuccess = false;
        QVariantMap status; // the server's reply, on success
        QByteArray failure; // otherwise a sentence that says what is wrong
    };
    using Done = std::function<void(const Result&)>;

    /** `limit` is how long connecting and answering may take together. */
    StatusProbe(Upstream upstream, std::chrono::milliseconds limit);
    /** All requests must have been answered. */
    ~StatusProbe();
    StatusProbe(const StatusProbe&) = delete;
    StatusProbe& operator=(const StatusProbe&) = delete;

    /**
     * Calls `done` once, on the probe's thread, with the result of a question that is sent after this call. Concurrent
     * requests share one question. Any thread.
     */
    void ask(Done done);

private:
    void work();
    Result question() const;
    Result failed(const QByteArray& what) const;
    QByteArray withinLimit() const;

    const Upstream upstream_;
    const std::chrono::milliseconds limit_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<Done> waiting_; // guarded by mutex_
    bool isOver_ = false;       // guarded by mutex_
    std::thread thread_;
};

} // namespace Http

#endif
