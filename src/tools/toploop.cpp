#include "tools/toploop.h"

#include <csignal>

#include <poll.h>

namespace Ctl {

TopLoop::TopLoop(const ServerAddress& server, std::chrono::milliseconds interval)
    : address_(server.host + ':' + std::to_string(server.port)), signals_{SIGINT,  SIGTERM, SIGHUP,
                                                                          SIGQUIT, SIGTSTP, SIGWINCH},
      feed_(server, interval)
{}

int TopLoop::run()
{
    for (;;) {
        pollfd watched[] = {
            {signals_.descriptor(), POLLIN, 0}, {feed_.descriptor(), POLLIN, 0}, {keyDescriptor(), POLLIN, 0}};
        (void)::poll(watched, std::size(watched), feed_.timeout()); // ignored: nothing is ready then
        if (!answerSignals() || (watched[2].revents != 0 && !onKey()))
            return exitCode_;
        const StatusFeed::News news = feed_.proceed();
        if (news == StatusFeed::News::Status) {
            change_ = StatusChange::between(latest_ ? &*latest_ : nullptr, feed_.status());
            latest_ = feed_.status();
        }
        if (news != StatusFeed::News::None && !onNews(news))
            return exitCode_;
    }
}

std::vector<std::string> TopLoop::lines(int width) const
{
    return latest_ ? view_.lines(address_, *latest_, change_, width) : std::vector<std::string>();
}

bool TopLoop::answerSignals()
{
    while (const int signal = signals_.take()) {
        const bool goesOn = signal == SIGWINCH ? onResize() : signal == SIGTSTP && onStop();
        if (!goesOn)
            return false;
    }
    return true;
}

bool TopLoop::onStop()
{
    return std::raise(SIGSTOP) == 0;
}

} // namespace Ctl
