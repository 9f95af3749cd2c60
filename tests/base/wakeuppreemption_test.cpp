#include "base/wakeuppreemption.h"

#include "base/trythread.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include <sched.h>
#include <sys/resource.h>

namespace {

using Base::WakeupPreemption::beforeRequest;
using Base::WakeupPreemption::Patience;
using Base::WakeupPreemption::regain;

int policyAfterRequests(int number)
{
    for (int i = 0; i < number; ++i)
        beforeRequest();
    return sched_getscheduler(0);
}

int policyAfterRegaining()
{
    regain();
    return sched_getscheduler(0);
}

void setPolicy(int policy)
{
    const sched_param noPriority{};
    ASSERT_EQ(sched_setscheduler(0, policy, &noPriority), 0);
}

/** What a test does to a thread must not outlive it. */
template <typename Work> void onThread(Work work)
{
    std::thread(work).join();
}

TEST(WakeupPreemption, IsGivenUpAfterManyWaitsForRequestsUntilItIsRegained)
{
    onThread([] {
        EXPECT_EQ(policyAfterRegaining(), SCHED_OTHER);
        for (int turn = 0; turn < 2; ++turn) {
            EXPECT_EQ(policyAfterRequests(Patience - 1), SCHED_OTHER);
            EXPECT_EQ(policyAfterRequests(1), SCHED_BATCH);
            EXPECT_EQ(policyAfterRequests(Patience), SCHED_BATCH);
            EXPECT_EQ(policyAfterRegaining(), SCHED_OTHER);
        }
    });
}

TEST(WakeupPreemption, IsNotGivenUpByAThreadThatRegainsItNowAndThen)
{
    onThread([] {
        for (int turn = 0; turn < 3; ++turn) {
            EXPECT_EQ(policyAfterRequests(Patience - 1), SCHED_OTHER);
            EXPECT_EQ(policyAfterRegaining(), SCHED_OTHER);
        }
    });
}

TEST(WakeupPreemption, IsOfOneThread)
{
    onThread([] {
        EXPECT_EQ(policyAfterRequests(Patience), SCHED_BATCH);
        onThread([] { EXPECT_EQ(policyAfterRegaining(), SCHED_BATCH); }); // inherited, so not its own to change
        EXPECT_EQ(sched_getscheduler(0), SCHED_BATCH);
    });
    EXPECT_EQ(sched_getscheduler(0), SCHED_OTHER);
}

TEST(WakeupPreemption, IsRegainedBeforeAThreadIsCreated)
{
    onThread([] {
        EXPECT_EQ(policyAfterRequests(Patience), SCHED_BATCH);
        Base::tryThread([] { EXPECT_EQ(policyAfterRequests(Patience), SCHED_BATCH); }).join();
        EXPECT_EQ(sched_getscheduler(0), SCHED_OTHER);
        Base::tryThread([] { EXPECT_EQ(sched_getscheduler(0), SCHED_OTHER); }).join();
    });
}

TEST(WakeupPreemption, IsLeftAloneInAThreadOfAnotherPolicy)
{
    for (const int policy : {SCHED_IDLE, SCHED_BATCH})
        onThread([policy] {
            setPolicy(policy);
            EXPECT_EQ(policyAfterRequests(Patience), policy);
            EXPECT_EQ(policyAfterRegaining(), policy);
        });
}

TEST(WakeupPreemption, KeepsANiceValue)
{
    onThread([] {
        ASSERT_EQ(setpriority(PRIO_PROCESS, 0, 7), 0); // of this thread alone, on Linux
        EXPECT_EQ(policyAfterRequests(Patience), SCHED_BATCH);
        EXPECT_EQ(getpriority(PRIO_PROCESS, 0), 7);
        EXPECT_EQ(policyAfterRegaining(), SCHED_OTHER);
        EXPECT_EQ(getpriority(PRIO_PROCESS, 0), 7);
    });
}

} // namespace
