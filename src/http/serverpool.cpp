#include "http/serverpool.h"

#include "protocol/framing.h"

#include <poll.h>

#include <new>
#include <utility>

namespace Http {

namespace {

/** True when the server has closed the connection or sent something unrequested, or a receive would fail. */
template <typename Connection> bool hasNews(const Connection& connection)
{
    if (connection.hasSurplus())
        return true;
    pollfd events{connection.socketDescriptor(), POLLIN | POLLRDHUP, 0};
    return poll(&events, 1, 0) != 0;
}

/** Takes the most recently used of these connections that can be used, and closes those that cannot; null for none. */
template <typename Pointer> Pointer takeUsable(std::vector<Pointer>* connections)
{
    while (!connections->empty()) {
        Pointer connection = std::move(connections->back());
        connections->pop_back();
        if (!hasNews(*connection))
            return connection;
    }
    return {};
}

} // namespace

ExchangeResult ServerPool::exchange(const QByteArray& operation, const QByteArray& body, QByteArray* reply,
                                    QString* error)
{
    Wire connection = takeIdle();
    if (connection == nullptr) {
        connection = newConnection();
        if (!connection->open(upstream_.host, upstream_.port)) {
            *error = connection->error();
            return ExchangeResult::NotSent;
        }
    }
    // If the send fails, not all bytes were handed over, and the server only starts on a complete request.
    if (!connection->send(Framing::frameRequest(operation, body))) {
        *error = connection->error();
        return ExchangeResult::NotSent;
    }
    if (!connection->receiveReply(reply)) {
        *error = connection->error();
        return connection->hasTimedOut() ? ExchangeResult::TimedOut : ExchangeResult::Lost;
    }
    giveBack(std::move(connection));
    return ExchangeResult::Done;
}

ServerPool::Counted<LoopConnection> ServerPool::takeForLoop(const Executor& executor)
{
    const std::lock_guard lock(mutex_);
    if (Counted<LoopConnection> connection = takeUsable(&idleOfLoops_))
        return connection;
    const Wire connection = takeUsable(&idle_);
    return connection != nullptr ? make<LoopConnection>(executor, connection->release()) : Counted<LoopConnection>();
}

void ServerPool::giveBack(Counted<LoopConnection> connection)
{
    keep(std::move(connection), &idleOfLoops_);
}

void ServerPool::closeLoopConnections()
{
    const std::lock_guard lock(mutex_);
    idleOfLoops_.clear();
}

ServerPool::Wire ServerPool::takeIdle()
{
    const std::lock_guard lock(mutex_);
    return takeUsable(&idle_);
}

/** A connection that is not yet open. */
ServerPool::Wire ServerPool::newConnection()
{
    const std::lock_guard lock(mutex_);
    if (open_ >= most_ && !idleOfLoops_.empty())
        idleOfLoops_.erase(idleOfLoops_.begin());
    Wire connection = make<Client::WireConnection>();
    connection->setConnectTimeout(upstream_.connectTimeout);
    connection->setReceiveTimeout(upstream_.receiveTimeout);
    return connection;
}

void ServerPool::giveBack(Wire connection)
{
    keep(std::move(connection), &idle_);
}

/** Closes the connection if there is no memory to keep it. */
template <typename Pointer> void ServerPool::keep(Pointer connection, std::vector<Pointer>* connections)
{
    try {
        const std::lock_guard lock(mutex_);
        connections->push_back(std::move(connection));
    } catch (const std::bad_alloc&) {
        connection.reset();
    }
}

template <typename Connection, typename... Arguments>
ServerPool::Counted<Connection> ServerPool::make(Arguments&&... arguments)
{
    Counted<Connection> connection(new Connection(std::forward<Arguments>(arguments)...), {&open_});
    ++open_;
    return connection;
}

} // namespace Http
