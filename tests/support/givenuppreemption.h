#ifndef QUORVA_TESTS_SUPPORT_GIVENUPPREEMPTION_H
#define QUORVA_TESTS_SUPPORT_GIVENUPPREEMPTION_H

#include "base/wakeuppreemption.h"

#include <sched.h>

/** Makes the calling thread one that has waited for requests for long. */
inline void giveUpPreemption()
{
    for (int i = 0; i < Base::WakeupPreemption::Patience; ++i)
        Base::WakeupPreemption::beforeRequest();
}

inline bool hasGivenUpPreemption()
{
    return sched_getscheduler(0) == SCHED_BATCH;
}

#endif
