#include "http/serverpool.h"

#include "protocol/framing.h"

#include <poll.h>

#include <utility>

namespace Http {

namespace {

/** True when the server has closed the connection or sent something unrequested, or a receive would fail. */
bool hasNews(const Client::WireConnection& connection)
{
    if (connection.hasSurplus())
        return true;
    pollfd events{connection.socketDescriptor(), POLLIN | POLLRDHUP, 0};
    return poll(&events, 1, 0) != 0;
}

} // namespace

ExchangeResult ServerPool::exchange(const QByteArray& operation, const QByteArray& body, QByteArray* reply,
                                    QString* error)
{
    Client::WireConnection connection;
    if (!takeIdle(&connection) && !connect(&connection)) {
        *error = connection.error();
        return ExchangeResult::NotSent;
    }
    // If the send fails, not all bytes were handed over, and the server only starts on a complete request.
    if (!connection.send(Framing::frameRequest(operation, body))) {
        *error = connection.error();
        return ExchangeResult::NotSent;
    }
    if (!connection.receiveReply(reply)) {
        *error = connection.error();
        return hasNews(connection) ? ExchangeResult::Lost : ExchangeResult::TimedOut;
    }
    giveBack(std::move(connection));
    return ExchangeResult::Done;
}

bool ServerPool::takeIdle(Client::WireConnection* connection)
{
    const std::lock_guard lock(mutex_);
    while (!idle_.empty()) {
        *connection = std::move(idle_.back());
        idle_.pop_back();
        if (!hasNews(*connection))
            return true;
    }
    return false;
}

bool ServerPool::connect(Client::WireConnection* connection) const
{
    connection->setConnectTimeout(upstream_.connectTimeout);
    connection->setReceiveTimeout(upstream_.receiveTimeout);
    return connection->open(upstream_.host, upstream_.port);
}

void ServerPool::giveBack(Client::WireConnection&& connection)
{
    const std::lock_guard lock(mutex_);
    idle_.push_back(std::move(connection));
}

} // namespace Http
