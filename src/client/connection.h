#ifndef QUORVA_CLIENT_CONNECTION_H
#define QUORVA_CLIENT_CONNECTION_H

#include <QByteArray>
#include <QString>

/** What talks to a server: the tools and the tests share it. */
namespace Client {

inline constexpr const char* DefaultHost = "127.0.0.1";
inline constexpr int DefaultPort = 4567;

/** "PutItem" becomes "DynamoDB_20111205.PutItem"; a name that holds a "." stays as it is. */
QByteArray fullOperationName(const QByteArray& name);

/** The bytes of one request: 4-byte big-endian name length, name, 4-byte big-endian body length, body. */
QByteArray frameRequest(const QByteArray& operation, const QByteArray& body);

/** A blocking connection that carries one exchange after another. For one thread at a time. */
class Connection {
public:
    Connection() = default;
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;
    Connection(Connection&& other) noexcept;
    Connection& operator=(Connection&& other) noexcept;

    /**
     * Connects to a dotted IPv4 address, in place of any connection there was. False on failure; error() tells why.
     */
    [[nodiscard]] bool open(const QString& host, int port);
    void close();
    bool isOpen() const { return socket_ >= 0; }

    /**
     * Sends one request and reads its reply's JSON text. False when no whole reply came; error() tells why, and the
     * connection is closed: a reply that came late would be taken for the next request's.
     */
    [[nodiscard]] bool exchange(const QByteArray& operation, const QByteArray& body, QByteArray* reply);

    /**
     * The two halves of exchange, and raw bytes, for those that test the framing itself. They leave the connection open
     * when they fail. `reply` is not changed on failure.
     */
    [[nodiscard]] bool send(const QByteArray& bytes);
    [[nodiscard]] bool receiveReply(QByteArray* reply);

    /** Fails a connect or a send that gets no further for this long; 0 (as made) waits without limit. Before open. */
    void setSendTimeout(int milliseconds);

    /** Fails a receive that waits longer than this for the next bytes; 0 (as made) waits without limit. */
    void setReceiveTimeout(int milliseconds);

    int socketDescriptor() const { return socket_; }
    QString error() const { return error_; }

private:
    bool receiveExactly(char* data, qsizetype size);
    bool fail(const char* step);

    int socket_ = -1;
    int sendTimeout_ = 0;    // milliseconds
    int receiveTimeout_ = 0; // milliseconds
    QString error_;
};

} // namespace Client

#endif
