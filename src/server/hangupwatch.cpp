#include "server/hangupwatch.h"

#include <utility>

#include <csignal>
#include <pthread.h>
#include <sys/signalfd.h>
#include <unistd.h>

namespace {

sigset_t hangup()
{
    sigset_t hangups;
    sigemptyset(&hangups);
    sigaddset(&hangups, SIGHUP);
    return hangups;
}

} // namespace

void HangupWatch::block()
{
    const sigset_t hangups = hangup();
    (void)pthread_sigmask(SIG_BLOCK, &hangups, nullptr); // ignored: it only fails for an unknown mode
}

HangupWatch::HangupWatch(std::function<void()> onHangup) : onHangup_(std::move(onHangup))
{
    const sigset_t hangups = hangup();
    signals_ = Base::Descriptor(::signalfd(-1, &hangups, SFD_CLOEXEC | SFD_NONBLOCK));
    if (!signals_.isOpen())
        return;
    notifier_ = std::make_unique<QSocketNotifier>(signals_.number(), QSocketNotifier::Read);
    QObject::connect(notifier_.get(), &QSocketNotifier::activated, [this] { takeSignals(); });
}

void HangupWatch::takeSignals()
{
    signalfd_siginfo info{};
    while (::read(signals_.number(), &info, sizeof info) == static_cast<ssize_t>(sizeof info))
        onHangup_();
}
