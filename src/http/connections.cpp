#include "http/connections.h"

#include "http/httpconnection.h"

#include <utility>
#include <vector>

namespace Http {

void Connections::remove(HttpConnection* connection)
{
    open_.erase(connection);
    if (freed_ && !isFull())
        std::exchange(freed_, nullptr)();
}

void Connections::endIdle(std::chrono::milliseconds patience)
{
    if (!idle_.empty() && idle_.front()->isIdleSince(patience))
        idle_.front()->end();
}

bool Connections::takeBodyRoom(const std::shared_ptr<HttpConnection>& connection)
{
    if (bodyRooms_ == 0) {
        bodyQueue_.emplace_back(connection);
        return false;
    }
    --bodyRooms_;
    return true;
}

void Connections::giveBodyRoom()
{
    while (!bodyQueue_.empty()) {
        const std::shared_ptr<HttpConnection> next = bodyQueue_.front().lock();
        bodyQueue_.pop_front();
        if (next && next->enterBodyRoom())
            return;
    }
    ++bodyRooms_;
}

void Connections::stop()
{
    isStopping_ = true;
    freed_ = nullptr;
    std::vector<std::shared_ptr<HttpConnection>> open; // those that end leave the set
    for (HttpConnection* connection : open_)
        open.push_back(connection->shared_from_this());
    for (const std::shared_ptr<HttpConnection>& connection : open)
        connection->stop();
}

} // namespace Http
