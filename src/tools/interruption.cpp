#include "tools/interruption.h"

#include "base/descriptor.h"

#include <array>
#include <cerrno>
#include <csignal>

#include <fcntl.h>
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
    (void)!::pipe2(ends, O_CLOEXEC | O_NONBLOCK); // ignored: without the pipe, only the watched descriptors end a wait
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

bool Interruption::wait(std::vector<pollfd>* watched, int timeout)
{
    watched->push_back({readEnd.number(), POLLIN, 0});
    int ready = 0;
    do
        ready = ::poll(watched->data(), watched->size(), timeout);
    while (ready < 0 && errno == EINTR && !requested());
    watched->pop_back();
    if (ready < 0) {
        for (pollfd& one : *watched)
            one.revents = one.events;
    }
    return !requested();
}

bool Interruption::waitReadable(int descriptor)
{
    std::vector<pollfd> watched{{descriptor, POLLIN, 0}};
    return wait(&watched, -1);
}

} // namespace Ctl
