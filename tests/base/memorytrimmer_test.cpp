#include "base/memorytrimmer.h"

#include "support/procfs.h"
#include "support/threadcount.h"
#include "support/waituntil.h"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include <unistd.h>

namespace {

using Base::MemoryTrimmer;
using namespace std::chrono_literals;

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__) // they have allocators of their own
/** The resident size of this process, in KiB. */
long residentKib()
{
    return std::stol(ProcFs::status(getpid(), "VmRSS"));
}

TEST(MemoryTrimmer, ReturnsWhatLargeRequestsHaveFreed)
{
    MemoryTrimmer trimmer(1ms);
    const long before = residentKib();
    std::vector<std::unique_ptr<char[]>> pieces;
    std::vector<std::unique_ptr<char[]>> kept; // between them, so that the top of the heap is in use
    for (int i = 0; i < 100'000; ++i) {
        pieces.push_back(std::make_unique<char[]>(1000)); // filled with zeros, so resident
        if (i % 1000 == 0)
            kept.push_back(std::make_unique<char[]>(1000));
    }
    const long held = residentKib() - before;
    ASSERT_GT(held, 90'000);
    pieces.clear();
    pieces.shrink_to_fit();
    trimmer.noteFreed(MemoryTrimmer::LargeBytes + 1);
    EXPECT_TRUE(waitUntil([&] { return residentKib() - before < held / 10; })) << residentKib() - before;
}
#endif

TEST(MemoryTrimmer, LeavesSmallRequestsAlone)
{
    MemoryTrimmer trimmer(0ms);
    trimmer.noteFreed(MemoryTrimmer::LargeBytes);
    EXPECT_EQ(threadCount(), initialThreadCount());
    trimmer.noteFreed(MemoryTrimmer::LargeBytes + 1);
    EXPECT_TRUE(waitUntil([&] { return trimmer.trims() == 1; }));
    EXPECT_TRUE(onlyThisThreadIsLeft());
}

TEST(MemoryTrimmer, TrimsOnceForAllOfAWhile)
{
    constexpr auto Delay = 200ms;
    const auto begin = std::chrono::steady_clock::now();
    MemoryTrimmer trimmer(Delay);
    for (int i = 0; i < 100; ++i)
        trimmer.noteFreed(MemoryTrimmer::LargeBytes + 1);
    EXPECT_TRUE(waitUntil([&] { return trimmer.trims() > 0; }));
    const int trims = trimmer.trims();
    EXPECT_LE(trims, (std::chrono::steady_clock::now() - begin) / Delay) << "once in each delay, however long it took";
    trimmer.noteFreed(MemoryTrimmer::LargeBytes + 1);
    EXPECT_TRUE(waitUntil([&] { return trimmer.trims() > trims; }));
}

TEST(MemoryTrimmer, EndsWithoutWaitingForItsTime)
{
    {
        MemoryTrimmer trimmer(1h);
        trimmer.noteFreed(MemoryTrimmer::LargeBytes + 1);
    }
    EXPECT_TRUE(onlyThisThreadIsLeft());
}

} // namespace
