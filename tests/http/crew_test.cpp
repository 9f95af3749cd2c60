#include "http/crew.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <thread>

using Http::Crew;

TEST(Crew, StepsAreTakenOneAtATimeAndEachJobIsDoneOnce)
{
    constexpr int Steps = 20000;
    Crew crew(4);
    std::atomic<int> leaders = 0;
    std::atomic<int> busy = 0;
    std::atomic<int> done = 0;
    std::atomic<bool> wereTooMany = false;
    int steps = 0; // not atomic, as only one thread leads at a time
    crew.run([&] {
        wereTooMany = wereTooMany || ++leaders > 1;
        const bool isLast = ++steps > Steps && done == Steps;
        if (steps <= Steps)
            crew.post([&] {
                wereTooMany = wereTooMany || ++busy > 4;
                --busy;
                ++done;
            });
        --leaders;
        return !isLast;
    });
    EXPECT_FALSE(wereTooMany);
    EXPECT_EQ(done, Steps);
}

TEST(Crew, LoopContinuesWhileTheMaximumOfJobsRuns)
{
    Crew crew(2);
    std::mutex mutex;
    std::condition_variable changed;
    int begun = 0;
    bool mayEnd = false;
    std::atomic<int> done = 0;
    int posted = 0;
    int stepsWhileBusy = 0;
    crew.run([&] {
        if (posted < 5) {
            ++posted;
            crew.post([&] {
                std::unique_lock lock(mutex);
                ++begun;
                changed.wait_for(lock, std::chrono::seconds(10), [&] { return mayEnd; });
                ++done;
            });
            return true;
        }
        const std::lock_guard lock(mutex);
        if (begun == 2 && !mayEnd && ++stepsWhileBusy == 100) {
            mayEnd = true;
            changed.notify_all();
        }
        EXPECT_TRUE(mayEnd || begun <= 2);
        return done < 5;
    });
    EXPECT_EQ(stepsWhileBusy, 100);
    EXPECT_EQ(begun, 5);
}

TEST(Crew, ThreadThatPostsAJobDoesItItself)
{
    Crew crew(1);
    std::thread::id poster;
    std::thread::id doer;
    std::atomic<bool> isDone = false;
    bool isPosted = false;
    crew.run([&] {
        if (!isPosted) {
            isPosted = true;
            poster = std::this_thread::get_id();
            crew.post([&] {
                doer = std::this_thread::get_id();
                isDone = true;
            });
        }
        return !isDone;
    });
    EXPECT_EQ(doer, poster);
}

TEST(Crew, PlaceThatAStepHasTakenIsThatOfAJob)
{
    Crew crew(1);
    std::optional<Crew::Place> place;
    std::atomic<bool> isDone = false;
    int steps = 0;
    crew.run([&] {
        if (++steps == 1) {
            place.emplace(crew.takePlace());
            EXPECT_TRUE(*place);
            EXPECT_FALSE(crew.takePlace()) << "there is only one";
            crew.post([&] { isDone = true; });
        } else if (steps == 10) {
            EXPECT_FALSE(isDone) << "there is no place for the job";
            place.reset();
            EXPECT_FALSE(crew.takePlace()) << "the job comes first";
        }
        const bool isFree = steps > 10 && crew.takePlace(); // and given up at once
        EXPECT_TRUE(isDone || !isFree);
        return !isFree;
    });
    EXPECT_TRUE(isDone);
}

TEST(Crew, MayNeverRun)
{
    const Crew crew(3);
}
