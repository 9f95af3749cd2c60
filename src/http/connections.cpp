#include "http/connections.h"

#include "http/httpconnection.h"

#include <utility>
#include <vector>

namespace Http {

void Connections::add(HttpConnection* connection)
{
    open_.insert(connection);
    figures_->open.add(1);
    figures_->accepted.add(1);
}

void Connections::remove(HttpConnection* connection)
{
    open_.erase(connection);
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

bool Connections::takeBodyRoom()
{
    if (bodyRooms_ == 0)
        return false;
    --bodyRooms_;
    return true;
}

void Connections::giveBodyRoom()
{
    if (bodyQueue_.empty()) {
        ++bodyRooms_;
        return;
    }
    const std::shared_ptr<HttpConnection> next = std::move(bodyQueue_.front());
    bodyQueue_.pop_front();
    next->enterBodyRoom();
}

void Connections::queueForBodyRoom(std::shared_ptr<HttpConnection> connection)
{
    bodyQueue_.push_back(std::move(connection));
}

void Connections::leaveBodyQueue(const HttpConnection* connection)
{
    std::erase_if(bodyQueue_, [=](const auto& queued) { return queued.get() == connection; });
}

void Connections::stop()
{
    isStopping_ = true;
    isAwaited_ = false;
    std::vector<std::shared_ptr<HttpConnection>> open; // a copy, as connections that end remove themselves
    for (HttpConnection* connection : open_)
        open.push_back(connection->shared_from_this());
    for (const std::shared_ptr<HttpConnection>& connection : open)
        connection->stop();
}

} // namespace Http
