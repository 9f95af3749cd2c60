#include "http/serverexchanges.h"

#include "protocol/framing.h"

#include <new>
#include <utility>

namespace Http {

ServerExchanges::ServerExchanges(const Executor& executor, ServerPool* pool, Crew* crew)
    : executor_(executor), pool_(pool), crew_(crew), timeout_(pool->upstream().receiveTimeout), timer_(executor)
{}

ServerExchanges::~ServerExchanges()
{
    pool_->closeLoopConnections();
}

std::optional<ServerExchanges::Sent> ServerExchanges::send(const QByteArray& operation, const QByteArray& body)
{
    Crew::Place place = crew_->takePlace();
    if (!place)
        return std::nullopt;
    ServerPool::Counted<LoopConnection> connection = pool_->takeForLoop(executor_);
    // If not all bytes are handed over, the server does not start on the request.
    if (connection == nullptr || !connection->send(Framing::frameRequest(operation, body)))
        return std::nullopt;
    return Sent{std::move(place), std::move(connection)};
}

void ServerExchanges::await(Sent&& sent, Done done)
{
    const auto place =
        exchanges_.insert(exchanges_.end(), {std::move(sent), std::move(done), Clock::now() + timeout_, false});
    try {
        if (exchanges_.size() == 1)
            setTimer();
        place->sent.connection->receive([this, place](LoopConnection::Reply& reply) { onProgress(place, reply); });
    } catch (const std::bad_alloc&) {
        exchanges_.erase(place);
        throw;
    }
}

void ServerExchanges::onProgress(Place place, LoopConnection::Reply& reply)
{
    if (!reply.isComplete && reply.error.isEmpty()) {
        place->deadline = Clock::now() + timeout_;
        exchanges_.splice(exchanges_.end(), exchanges_, place);
        return;
    }
    Outcome outcome;
    if (reply.isComplete) {
        pool_->giveBack(std::move(place->sent.connection));
        outcome.reply = std::move(reply.text);
    } else if (place->isLate) {
        outcome = {ExchangeResult::TimedOut, {}, QStringLiteral("no bytes within %1 ms").arg(timeout_.count())};
    } else {
        outcome = {ExchangeResult::Lost, {}, reply.error};
    }
    const Done done = std::move(place->done);
    exchanges_.erase(place);
    if (exchanges_.empty())
        timer_.cancel();
    done(std::move(outcome));
}

void ServerExchanges::setTimer()
{
    timer_.expires_at(exchanges_.front().deadline);
    timer_.async_wait([this](const ErrorCode& error) {
        if (!error && !exchanges_.empty())
            onTimer();
    });
}

void ServerExchanges::onTimer()
{
    const Clock::time_point now = Clock::now();
    for (Exchange& exchange : exchanges_) {
        if (exchange.deadline > now)
            break;
        exchange.isLate = true;
        exchange.sent.connection->cancel();
    }
    setTimer();
}

} // namespace Http
