#include "tools/signalevents.h"

#include <sys/signalfd.h>
#include <unistd.h>

namespace Ctl {

SignalEvents::SignalEvents(std::initializer_list<int> numbers)
{
    sigset_t set;
    sigemptyset(&set);
    for (const int number : numbers)
        sigaddset(&set, number);
    descriptor_ = Base::Descriptor(::signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK));
    if (descriptor_.isOpen())                             // otherwise they keep their default action
        (void)pthread_sigmask(SIG_BLOCK, &set, &before_); // ignored: it only fails for an unknown mode
    else
        (void)pthread_sigmask(SIG_BLOCK, nullptr, &before_);
}

SignalEvents::~SignalEvents()
{
    while (take() != 0) { // already handled; once unblocked, they would terminate the program
    }
    (void)pthread_sigmask(SIG_SETMASK, &before_, nullptr);
}

int SignalEvents::take()
{
    signalfd_siginfo info{};
    const ssize_t size = descriptor_.isOpen() ? ::read(descriptor(), &info, sizeof info) : -1;
    return size == sizeof info ? static_cast<int>(info.ssi_signo) : 0;
}

} // namespace Ctl
