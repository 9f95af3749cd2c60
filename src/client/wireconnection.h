#ifndef QUORVA_CLIENT_WIRECONNECTION_H
#define QUORVA_CLIENT_WIRECONNECTION_H

#include <QByteArray>
#include <QString>

struct sockaddr_in;

/** What talks to a server: the tools and the tests share it. */
namespace Client {

inline constexpr const char* DefaultHost = "127.0.0.1";
inline constexpr int DefaultPort = 4567;

/** A blocking connection that carries one exchange after another. For one thread at a time. */
class WireConnection {
public:
    WireConnection() = default;
    ~WireConnection();
    WireConnection(const WireConnection&) = delete;
    WireConnection& operator=(const WireConnection&) = delete;
    WireConnection(WireConnection&& other) noexcept;
    WireConnection& operator=(WireConnection&& other) noexcept;

    /**
     * Connects to a dotted IPv4 address, in place of any connection there was. False on failure; error() tells why.
     */
    [[nodiscard]] bool open(const QString& host, int port);
    void close();
    bool isOpen() const { return socket_ >= 0; }

    /**
     * Sends one request, `operation` with its full name, and reads its reply's JSON text. False when no whole reply
     * came; error() tells why, and the connection is closed: a reply that came late would be taken for the next
     * request's.
     */
    [[nodiscard]] bool exchange(const QByteArray& operation, const QByteArray& body, QByteArray* reply);

    /**
     * The two halves of exchange, and raw bytes, for those that test the framing itself. They leave the connection open
     * when they fail. `reply` is not changed on failure.
     */
    [[nodiscard]] bool send(const QByteArray& bytes);
    [[nodiscard]] bool receiveReply(QByteArray* reply);

    /** Fails an open that the other side does not answer within this time; 0 (as made) leaves it to the system. */
    void setConnectTimeout(int milliseconds);

    /**
     * Fails a receive that waits longer than this for the next bytes, and a send of which the other side takes nothing
     * for that long; 0 (as made) waits without limit.
     */
    void setReceiveTimeout(int milliseconds);

    int socketDescriptor() const { return socket_; }
    QString error() const { return error_; }

private:
    bool connectTo(const sockaddr_in& address);
    bool receiveExactly(char* data, qsizetype size);
    bool waitFor(short events, int milliseconds, const char* missing);
    bool fail(const char* step);

    int socket_ = -1;
    int connectTimeout_ = 0; // milliseconds, like the other
    int receiveTimeout_ = 0;
    QString error_;
};

} // namespace Client

#endif
