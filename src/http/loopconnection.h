#ifndef QUORVA_HTTP_LOOPCONNECTION_H
#define QUORVA_HTTP_LOOPCONNECTION_H

#include "base/descriptor.h"
#include "http/asynctypes.h"

#include <QByteArray>
#include <QString>

#include <array>
#include <cstddef>
#include <functional>

namespace Http {

/**
 * A connection to the server that the event loop watches, so that no thread waits for its replies. For one thread at a
 * time; with an exchange under way, for the transport's.
 */
class LoopConnection {
public:
    LoopConnection(const Executor& executor, Base::Descriptor connected);
    LoopConnection(const LoopConnection&) = delete;
    LoopConnection& operator=(const LoopConnection&) = delete;

    /** Hands a request to the system without waiting. Returns false unless it took all of it. */
    [[nodiscard]] bool send(const QByteArray& bytes);

    /** A reply to the request that was sent, as far as it has come. */
    struct Reply {
        QByteArray text;
        bool isComplete = false;
        QString error; // set if the connection has failed; then nothing more will come
    };
    using Progress = std::function<void(Reply&)>;

    /** Calls `progress` upon each piece of a reply, until it is complete or has failed. The object must live until
     * then. */
    void receive(Progress progress);

    /** Fails the reply that is being received. */
    void cancel();

    /** Whether the server has sent more than the reply that was received last. */
    bool hasSurplus() const { return hasSurplus_; }

    int socketDescriptor() const { return descriptor_; }

private:
    void readMore();
    void onRead(const ErrorCode& error, std::size_t size);
    void take(const ErrorCode& error, std::size_t size);
    void takeFront();

    static constexpr std::size_t PieceBytes = 4096; // most replies fit into one

    Socket socket_;
    int descriptor_ = -1;                // of socket_
    std::array<char, PieceBytes> front_; // the first bytes of a reply
    std::size_t inFront_ = 0;
    qsizetype length_ = 0;   // of the reply's text
    qsizetype received_ = 0; // bytes of it
    bool hasLength_ = false;
    bool hasSurplus_ = false;
    Reply reply_;
    Progress progress_;
};

} // namespace Http

#endif
