#include "tools/interruption.h"

#include "base/descriptor.h"

#include <array>
#include <cerrno>
#include <csignal>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace Ctl {

namespace {

constexpr std::array Signals{SIGINT, SIGTERM, SIGHUP};

volatile std::sig_atomic_t wasRequested = 0;
// A signal makes this pipe readable; otherwise one that arrives just before a wait would be noticed only after it.
Base::Descriptor readEnd;
Base::Descriptor writeEnd;
std::array<struct sigaction, Signals.size()> before;

void request(int)
{
    const int savedError = errno;
    wasRequested = 1;
    (void)!::write(writeEnd.number(), "", 1); // ignored: a full pipe is readable
    errno = savedError;
}

} // namespace

Interruption::Interruption()
{
    wasRequested = 0;
    int ends[2] = {-1, -1};
    (void)!::pipe2(ends, O_CLOEXEC | O_NONBLOCK); // ignored: then only its descriptor ends a wait
    readEnd = Base::Descriptor(ends[0]);
    writeEnd = Base::Descriptor(ends[1]);
    struct sigaction action = {};
    action.sa_handler = request;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    for (std::size_t i = 0; i < Signals.size(); ++i) {
        sigaction(Signals[i], nullptr, &before[i]);
        if (before[i].sa_handler != SIG_IGN)
            sigaction(Signals[i], &action, nullptr);
    }
}

Interruption::~Interruption()
{
    for (std::size_t i = 0; i < Signals.size(); ++i)
        sigaction(Signals[i], &before[i], nullptr);
    readEnd = Base::Descriptor();
    writeEnd = Base::Descriptor();
}

bool Interruption::requested()
{
    return wasRequested != 0;
}

bool Interruption::waitReadable(int descriptor)
{
    for (;;) {
        pollfd watched[] = {{descriptor, POLLIN, 0}, {readEnd.number(), POLLIN, 0}};
        const int ready = ::poll(watched, 2, -1);
        if (requested())
            return false;
        if (ready > 0 || errno != EINTR)
            return true; // if poll() failed, the read reports the error
    }
}

} // namespace Ctl
