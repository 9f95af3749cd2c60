#ifndef QUORVA_BENCH_LOAD_LOADCLIENT_H
#define QUORVA_BENCH_LOAD_LOADCLIENT_H

#include "common/measure.h"
#include "load/replymeter.h"
#include "load/requests.h"

#include "client/wireconnection.h"

#include <QByteArray>

#include <span>

namespace Bench {

/**
 * One client of the server: a connection with at most one outstanding request. For one thread at a time; many clients
 * share a thread, and the buffer that they receive into.
 */
class LoadClient {
public:
    LoadClient(Client::WireConnection connection, RequestMaker requests, Interface interface);

    int socketDescriptor() const { return connection_.socketDescriptor(); }

    /** Sends a request. Blocks while the socket buffer is full, as the server always accepts a whole request. */
    [[nodiscard]] bool sendNext();

    enum class Progress { Waiting, Replied, Lost };

    /** Receives what has arrived, without waiting. */
    [[nodiscard]] Progress receive(std::span<char> buffer);

    /** Counts the reply that has arrived. */
    void countReply(const Window& window, Clock::time_point now, Result* result) const;

    /** Whether the reply that has arrived reports success. */
    bool succeeded() const { return reply_.succeeded(); }

    /** The end of the last reply, or all of it if it is short. */
    QByteArray replyEnd() const { return reply_.end(); }

private:
    Client::WireConnection connection_;
    RequestMaker requests_;
    ReplyMeter reply_;
    Clock::time_point sent_;
    std::size_t requestBytes_ = 0;
};

} // namespace Bench

#endif
