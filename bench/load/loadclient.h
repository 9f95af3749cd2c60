#ifndef QUORVA_BENCH_LOAD_LOADCLIENT_H
#define QUORVA_BENCH_LOAD_LOADCLIENT_H

#include "common/measure.h"
#include "load/requests.h"

#include "client/wireconnection.h"
#include "protocol/framing.h"

#include <QByteArray>

#include <array>
#include <span>

namespace Bench {

/**
 * One client of the server: a connection with at most one request under way. It keeps only the last bytes of a reply,
 * where a success shows. For one thread at a time; many clients share a thread, and the buffer that they receive into.
 */
class LoadClient {
public:
    LoadClient(Client::WireConnection connection, RequestMaker requests);

    int socketDescriptor() const { return connection_.socketDescriptor(); }

    /** Sends a request. It waits when the socket is full, as the server always takes a whole request. */
    [[nodiscard]] bool sendNext();

    enum class Progress { Waiting, Replied, Lost };

    /** Takes what has arrived, without waiting. */
    [[nodiscard]] Progress receive(std::span<char> buffer);

    /** Counts the reply that has come. */
    void countReply(const Window& window, Clock::time_point now, Result* result) const;

    /** True when the reply that has come says success. */
    bool succeeded() const;

    /** The end of the last reply, or all of it when it is short. */
    QByteArray replyEnd() const;

private:
    void takeBytes(const char* bytes, std::size_t count);

    static constexpr std::size_t PrefixBytes = Framing::LengthSize;
    static constexpr std::size_t KeptBytes = 192; // more than an error reply has

    Client::WireConnection connection_;
    RequestMaker requests_;
    Clock::time_point sent_;
    std::size_t requestBytes_ = 0;
    std::size_t received_ = 0; // of the reply under way, the prefix included
    std::size_t expected_ = 0; // the same when it is whole; 0 until the prefix is there
    std::array<char, PrefixBytes> prefix_{};
    std::array<char, KeptBytes> kept_{}; // the last bytes of the reply, at the end of the array
};

} // namespace Bench

#endif
