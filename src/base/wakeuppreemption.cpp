#include "base/wakeuppreemption.h"

#include <sched.h>

namespace Base::WakeupPreemption {

namespace {

enum class State { Unknown, Usual, GivenUp, NotOurs };

thread_local State state = State::Unknown;
thread_local int waits = 0; // for requests, since the last for the disk

/** Where the system does not allow the change, everything stays as it is. */
State change(int policy, State changed)
{
    const sched_param noPriority{};
    return sched_setscheduler(0, policy, &noPriority) == 0 ? changed : State::NotOurs;
}

} // namespace

void beforeRequest()
{
    if (state == State::Unknown)
        state = sched_getscheduler(0) == SCHED_OTHER ? State::Usual : State::NotOurs;
    if (state == State::Usual && ++waits >= Patience)
        state = change(SCHED_BATCH, State::GivenUp);
}

void regain()
{
    waits = 0;
    if (state == State::GivenUp)
        state = change(SCHED_OTHER, State::Usual);
}

} // namespace Base::WakeupPreemption
