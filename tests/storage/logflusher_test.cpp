#include "logflusherfixture.h"

#include "replacedcalls.h"
#include "support/givenuppreemption.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <memory>
#include <mutex>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

TEST_F(LogFlusherTest, ARequestThatIsAloneFlushesItself)
{
    const std::uint64_t before = flushes();
    EXPECT_TRUE(flush(written("a"), 1));
    EXPECT_THAT(answers(), ElementsAre(std::pair(1, 0)));
    EXPECT_GT(flushes(), before);
    EXPECT_EQ(index_->state().undurable, 0);
    env_->uses()->waitUnused();
}

TEST_F(LogFlusherTest, AThreadRegainsPreemptionWhetherItFlushesOrAnotherDoes)
{
    EnvironmentUse alone = written("a");
    giveUpPreemption();
    EXPECT_TRUE(hasGivenUpPreemption());
    EXPECT_TRUE(flush(std::move(alone), 1));
    EXPECT_FALSE(hasGivenUpPreemption());
    const auto held = holdAFlush();
    EnvironmentUse waiting = written("b");
    giveUpPreemption();
    EXPECT_TRUE(hasGivenUpPreemption());
    EXPECT_FALSE(flush(std::move(waiting), 2));
    EXPECT_FALSE(hasGivenUpPreemption());
    disk_.release();
    EXPECT_TRUE(held->get());
    ASSERT_TRUE(hasAnswers(3));
    env_->uses()->waitUnused();
}

TEST_F(LogFlusherTest, OneFlushServesAllThatCameDuringTheOneBefore)
{
    const auto held = holdAFlush();
    EXPECT_EQ(index_->state().undurable, 1);
    const std::uint64_t before = flushes();
    for (int i = 1; i <= 20; ++i)
        EXPECT_FALSE(flush(i % 2 != 0 ? written("a") : hasRead("a"), i));
    EXPECT_EQ(index_->state().undurable, 11);
    EXPECT_THAT(answers(), IsEmpty());
    EXPECT_EQ(flushes(), before);
    disk_.release();
    EXPECT_TRUE(held->get());
    ASSERT_TRUE(hasAnswers(21));
    for (const auto& [number, rc] : answers())
        EXPECT_EQ(rc, 0) << number;
    EXPECT_EQ(flushes(), before + 2) << "the one that was held, and one for all";
    EXPECT_EQ(index_->state().undurable, 0);
    env_->uses()->waitUnused();
}

TEST_F(LogFlusherTest, ReadersWaitForTheFilesThatTheyHaveReadOnly)
{
    EXPECT_FALSE(hasRead("a").unflushed().any());
    EnvironmentUse writer = written("a");
    EXPECT_TRUE(hasRead("a").unflushed().any());
    EXPECT_TRUE(hasRead("another").unflushed().any());
    EXPECT_FALSE(hasRead("a", other_).unflushed().any());
    settle(std::move(writer));
    EXPECT_FALSE(hasRead("a").unflushed().any());
}

TEST_F(LogFlusherTest, ReadersOutsideOfATransactionWaitAsWell)
{
    EXPECT_FALSE(hasReadAlone("a", index_).unflushed().any());
    EnvironmentUse writer = written("a");
    EXPECT_TRUE(hasReadAlone("a", index_).unflushed().any());
    EXPECT_TRUE(hasReadAlone("another", index_).unflushed().any());
    EXPECT_FALSE(hasReadAlone("a", other_).unflushed().any());
    settle(std::move(writer));
    EXPECT_FALSE(hasReadAlone("a", index_).unflushed().any());
}

TEST_F(LogFlusherTest, AFailureIsForThoseWhoHaveWritten)
{
    const auto held = holdAFlush();
    const LogCapture log;
    EXPECT_FALSE(flush(written("a"), 1));
    EXPECT_FALSE(flush(hasRead("a"), 2));
    EXPECT_FALSE(flush(written("b", other_), 3));
    disk_.fill(env_.path());
    disk_.release();
    EXPECT_TRUE(held->get());
    ASSERT_TRUE(hasAnswers(4));
    EXPECT_THAT(answers(),
                UnorderedElementsAre(std::pair(0, 0), std::pair(1, ENOSPC), std::pair(2, 0), std::pair(3, ENOSPC)));
    int failures = 0;
    for (const std::string& line : log.lines())
        failures += line.ends_with("txn commit failed rc 28") ? 1 : 0;
    EXPECT_EQ(failures, 2);
    env_->uses()->waitUnused();

    // What they have written is not durable for as long as no flush succeeds.
    EXPECT_EQ(index_->state().undurable, 1);
    EXPECT_EQ(other_->state().undurable, 1);
    EXPECT_TRUE(hasRead("a").unflushed().any());
    EXPECT_TRUE(flush(hasRead("a"), 4));
    EXPECT_EQ(answers().back(), std::pair(4, 0));
    EXPECT_EQ(index_->state().undurable, 1);
    disk_.makeRoom();
    EXPECT_TRUE(flush(hasRead("a"), 5));
    EXPECT_EQ(index_->state().undurable, 0);
    EXPECT_EQ(other_->state().undurable, 0);
    EXPECT_FALSE(hasRead("a").unflushed().any());
}

TEST_F(LogFlusherTest, WhatNobodyWaitsForIsCoveredByTheNextFlush)
{
    written("a").reset(); // the request could not be answered
    EXPECT_EQ(index_->state().undurable, 1);
    EXPECT_TRUE(hasRead("a").unflushed().any());
    EXPECT_TRUE(flush(written("b", other_), 1));
    EXPECT_EQ(index_->state().undurable, 0);
    EXPECT_FALSE(hasRead("a").unflushed().any());
}

TEST_F(LogFlusherTest, WithoutMemoryForTheQueueTheRequestFlushesItself)
{
    const auto held = holdAFlush();
    struct Waiting { // as in the flusher
        EnvironmentUse use;
        LogFlusher::Answer answer;
    };
    BlockedCall<bool> second([this] {
        EnvironmentUse use = written("a");
        const NoMemoryFor none(sizeof(Waiting));
        return flush(std::move(use), 1);
    });
    disk_.fill(env_.path()); // its failure is its own
    disk_.release();
    EXPECT_TRUE(held->get());
    EXPECT_TRUE(second.get());
    EXPECT_THAT(answers(), UnorderedElementsAre(std::pair(0, 0), std::pair(1, ENOSPC)));
    disk_.makeRoom();
    settle(written("settled"));
    EXPECT_EQ(index_->state().undurable, 0);
    env_->uses()->waitUnused();
}

} // namespace
