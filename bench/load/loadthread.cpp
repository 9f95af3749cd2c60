#include "load/loadthread.h"

#include <sys/epoll.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace Bench {

namespace {

constexpr int MaxEvents = 128;
constexpr int LongestSilence = 60'000;          // milliseconds
constexpr std::size_t BufferBytes = 256 * 1024; // for one receive

} // namespace

LoadThread::LoadThread() : epoll_(epoll_create1(EPOLL_CLOEXEC)) {}

LoadThread::~LoadThread()
{
    if (epoll_ >= 0)
        ::close(epoll_);
}

bool LoadThread::add(std::unique_ptr<LoadClient> client)
{
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.ptr = client.get();
    if (epoll_ctl(epoll_, EPOLL_CTL_ADD, client->socketDescriptor(), &event) != 0)
        return false;
    clients_.push_back(std::move(client));
    return true;
}

bool LoadThread::run(const Window& window)
{
    for (const auto& client : clients_) {
        if (!client->sendNext())
            return false;
        ++busy_;
    }
    std::vector<char> buffer(BufferBytes);
    epoll_event events[MaxEvents];
    while (busy_ > 0) {
        const int count = epoll_wait(epoll_, events, MaxEvents, LongestSilence);
        if (count == 0 || (count < 0 && errno != EINTR))
            return false;
        for (int i = 0; i < count; ++i) {
            auto& client = *static_cast<LoadClient*>(events[i].data.ptr);
            const LoadClient::Progress progress = client.receive(buffer);
            if (progress == LoadClient::Progress::Lost ||
                (progress == LoadClient::Progress::Replied && !onReply(client, window)))
                return false;
        }
    }
    return true;
}

/** Counts the reply and sends the client's next request while there is time. */
bool LoadThread::onReply(LoadClient& client, const Window& window)
{
    const Clock::time_point now = Clock::now();
    client.countReply(window, now, &result_);
    if (firstError_.isEmpty() && !client.succeeded())
        firstError_ = client.replyEnd();
    if (now < window.end)
        return client.sendNext();
    --busy_;
    return true;
}

} // namespace Bench
