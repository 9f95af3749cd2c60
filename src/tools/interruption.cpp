#include "tools/interruption.h"

#include <array>
#include <csignal>

namespace Ctl {

namespace {

constexpr std::array Signals{SIGINT, SIGTERM, SIGHUP};

volatile std::sig_atomic_t wasRequested = 0;
std::array<struct sigaction, Signals.size()> before;

void request(int)
{
    wasRequested = 1;
}

} // namespace

Interruption::Interruption()
{
    wasRequested = 0;
    struct sigaction action = {};
    action.sa_handler = request;
    action.sa_flags = static_cast<int>(SA_RESETHAND); // and no SA_RESTART: a read that waits for input has to end
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
}

bool Interruption::requested()
{
    return wasRequested != 0;
}

} // namespace Ctl
