#ifndef QUORVA_BENCH_LOAD_LOADTHREAD_H
#define QUORVA_BENCH_LOAD_LOADTHREAD_H

#include "load/loadclient.h"

#include <QByteArray>

#include <memory>
#include <vector>

namespace Bench {

/** Drives some clients with one epoll instance, so that many of them cost the machine no more than few. */
class LoadThread {
public:
    LoadThread();
    ~LoadThread();
    LoadThread(const LoadThread&) = delete;
    LoadThread& operator=(const LoadThread&) = delete;

    /** Before run(). False when the system does not watch the socket. */
    [[nodiscard]] bool add(std::unique_ptr<LoadClient> client);

    /**
     * Each client sends a request, and another one upon every reply until the window ends; then the last replies are
     * waited for. False when a connection was lost, or no reply came for a long time.
     */
    [[nodiscard]] bool run(const Window& window);

    const Result& result() const { return result_; }

    /** The end of the first reply that was no success; empty when there was none. */
    const QByteArray& firstError() const { return firstError_; }

private:
    bool onReply(LoadClient& client, const Window& window);

    const int epoll_;
    std::vector<std::unique_ptr<LoadClient>> clients_;
    std::size_t busy_ = 0; // clients whose reply is still to come
    Result result_;
    QByteArray firstError_;
};

} // namespace Bench

#endif
