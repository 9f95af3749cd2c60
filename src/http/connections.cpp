#include "http/connections.h"

#include "http/httpconnection.h"

#include <utility>
#include <vector>

namespace Http {

Connections::Place Connections::add(HttpConnection* connection)
{
    const auto place = active_.insert(active_.end(), connection);
    figures_->open.add(1);
    figures_->accepted.add(1);
    return place;
}

/** It must not be idle. */
void Connections::remove(Place place)
{
    active_.erase(place);
    figures_->open.add(-1);
    if (isAwaited_ && !isFull()) {
        isAwaited_ = false;
        std::exchange(freed_, nullptr)();
    }
}

void Connections::waitForRoom(std::function<void()> freed)
{
    freed_ = std::move(freed);
    isAwaited_ = true;
}

void Connections::endIdle(std::chrono::milliseconds patience)
{
    if (!idle_.empty() && idle_.front()->isIdleSince(patience))
        idle_.front()->end();
}

bool Connections::takeBodyRoom(std::size_t bytes)
{
    if (!bodyQueue_.empty() || bytes > freeBodyBytes_)
        return false;
    freeBodyBytes_ -= bytes;
    return true;
}

void Connections::giveBodyRoom(std::size_t bytes)
{
    freeBodyBytes_ += bytes;
    memory_.noteFreed(bytes);
    admitQueued();
}

void Connections::queueForBodyRoom(std::shared_ptr<HttpConnection> connection, std::size_t bytes)
{
    bodyQueue_.push_back({std::move(connection), bytes});
}

void Connections::leaveBodyQueue(const HttpConnection* connection)
{
    if (std::erase_if(bodyQueue_, [=](const Queued& queued) { return queued.connection.get() == connection; }) > 0)
        admitQueued(); // those behind it may need less
}

void Connections::admitQueued()
{
    while (!bodyQueue_.empty() && bodyQueue_.front().bytes <= freeBodyBytes_) {
        const Queued next = std::move(bodyQueue_.front());
        bodyQueue_.pop_front();
        freeBodyBytes_ -= next.bytes;
        next.connection->enterBodyRoom(next.bytes);
    }
}

Connections::UntakenPlace Connections::enterUntaken(const Untaken& untaken)
{
    const auto place = untaken_.insert(untaken_.end(), untaken);
    untakenBytes_ += untaken.bytes;
    while (untakenBytes_ > untakenLimit_ && untaken_.begin() != place)
        untaken_.front().connection->end(); // leaves
    return place;
}

void Connections::leaveUntaken(UntakenPlace place)
{
    untakenBytes_ -= place->bytes;
    memory_.noteFreed(place->bytes);
    untaken_.erase(place);
}

void Connections::stop()
{
    isStopping_ = true;
    isAwaited_ = false;
    std::vector<std::shared_ptr<HttpConnection>> open; // a copy, as connections that end remove themselves
    for (const auto* connections : {&active_, &idle_}) {
        for (HttpConnection* connection : *connections)
            open.push_back(connection->shared_from_this());
    }
    for (const std::shared_ptr<HttpConnection>& connection : open)
        connection->stop();
}

} // namespace Http
