#ifndef QUORVA_CLIENT_WIRECONNECTION_H
#define QUORVA_CLIENT_WIRECONNECTION_H

#include "base/descriptor.h"

#include <QByteArray>
#include <QDeadlineTimer>
#include <QString>

#include <utility>

struct sockaddr_in;

/** The client side of the protocol, shared by the tools and the tests. */
namespace Client {

/** A blocking connection that carries one exchange after another. Movable. For one thread at a time. */
class WireConnection {
public:
    /**
     * Connects to a dotted IPv4 address, replacing any existing connection. Returns false on failure; error() has the
     * reason.
     */
    [[nodiscard]] bool open(const QString& host, int port);
    void close()
    {
        socket_ = Base::Descriptor();
        surplus_.clear();
    }
    bool isOpen() const { return socket_.isOpen(); }
    /** Hands the socket over to the caller, between exchanges. */
    [[nodiscard]] Base::Descriptor release() { return std::move(socket_); }

    /**
     * Sends one request, with the full name of the operation, and reads the reply's JSON text. Returns false if no
     * complete reply was received; error() has the reason, and the connection is closed: a late reply would be mistaken
     * for that of the next request.
     */
    [[nodiscard]] bool exchange(const QByteArray& operation, const QByteArray& body, QByteArray* reply);

    /**
     * The two halves of exchange(), with raw bytes, for callers that test the framing itself. On failure they leave the
     * connection open and `reply` unchanged.
     */
    [[nodiscard]] bool send(const QByteArray& bytes);
    [[nodiscard]] bool receiveReply(QByteArray* reply);

    /** Limits how long open() waits for the other side; 0 (the default) leaves it to the system. */
    void setConnectTimeout(int milliseconds);

    /**
     * Limits how long a receive waits for the next bytes, and a send for the other side to accept any; 0 (the default)
     * means no limit.
     */
    void setReceiveTimeout(int milliseconds);

    /**
     * Limits the total duration of all further calls. Only operations with a timeout above are interrupted.
     */
    void setDeadline(const QDeadlineTimer& deadline) { deadline_ = deadline; }

    /** Whether the server has sent more than the reply that was received last. */
    bool hasSurplus() const { return !surplus_.isEmpty(); }

    int socketDescriptor() const { return socket_.number(); }
    QString error() const { return error_; }
    /** Whether the latest failure was that of a limit of time. */
    bool hasTimedOut() const { return hasTimedOut_; }

private:
    bool connectTo(const sockaddr_in& address);
    bool limitReceives();
    bool receiveExactly(char* data, qsizetype size);
    qsizetype receiveSome(char* data, qsizetype most);
    bool waitFor(short events, int milliseconds, const char* missing);
    bool fail(const QString& error);
    bool fail(const char* step);
    bool failLate(const char* missing, int milliseconds);

    Base::Descriptor socket_;
    int connectTimeout_ = 0; // milliseconds, like receiveTimeout_
    int receiveTimeout_ = 0;
    QDeadlineTimer deadline_{QDeadlineTimer::Forever};
    QByteArray surplus_; // received after a reply, for the next one
    QString error_;
    bool hasTimedOut_ = false;
};

} // namespace Client

#endif
