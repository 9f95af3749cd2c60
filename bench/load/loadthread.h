#ifndef QUORVA_BENCH_LOAD_LOADTHREAD_H
#define QUORVA_BENCH_LOAD_LOADTHREAD_H

#include "load/loadclient.h"

#include <QByteArray>

#include <memory>
#include <vector>

namespace Bench {

/** Drives some clients with one epoll instance, so that many of them cost the machine no more than a few. */
class LoadThread {
public:
    LoadThread();
    ~LoadThread();
    LoadThread(const LoadThread&) = delete;
    LoadThread& operator=(const LoadThread&) = delete;

    /** Call before run(). False if epoll does not accept the socket. */
    [[nodiscard]] bool add(std::unique_ptr<LoadClient> client);

    /**
     * Each client sends a request, and another one after every reply until the window ends; then waits for the last
     * replies. False if a connection was lost, or no reply arrived for a long time.
     */
    [[nodiscard]] bool run(const Window& window);

    const Result& result() const { return result_; }

    /** The end of the first error reply; empty if there was none. */
    const QByteArray& firstError() const { return firstError_; }

private:
    bool onReply(LoadClient& client, const Window& window);

    const int epoll_;
    std::vector<std::unique_ptr<LoadClient>> clients_;
    std::size_t busy_ = 0; // clients that are waiting for a reply
    Result result_;
    QByteArray firstError_;
};

} // namespace Bench

#endif
