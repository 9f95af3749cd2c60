#include "storage/logflusher.h"

#include "replacedcalls.h"
#include "rows.h"
#include "storage/bdbtxn.h"
#include "support/blockedcall.h"
#include "support/helddisk.h"
#include "support/logcapture.h"
#include "support/tempenv.h"
#include "support/waituntil.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

/** An environment whose disk stalls when a test requests it. */
class LogFlusherTest : public testing::Test {
protected:
    LogFlusherTest()
    {
        HeldDisk::prepare(env_.path());
        env_.reopen();
        index_ = env_.index("orders");
        other_ = env_.index("other");
        settle(written("settled"));
    }

    EnvironmentUse makeUse() { return {env_.get(), env_->uses(), nullptr}; }

    /** A use that has committed a row and has not waited for it. */
    EnvironmentUse written(const char* key, BDBIndex* index = nullptr)
    {
        BDBIndex* const file = index != nullptr ? index : index_;
        EnvironmentUse use = makeUse();
        BDBTxn txn;
        EXPECT_EQ(txn.beginWriting(TxnScope(&use), {&file, 1}), 0);
        EXPECT_EQ(putRow(file, &txn, key, "value"), 0);
        EXPECT_EQ(txn.commit(DB_TXN_SYNC), 0);
        EXPECT_TRUE(use.unflushed().hasWritten());
        return use;
    }

    /** A use that has read a row. */
    EnvironmentUse hasRead(const char* key, BDBIndex* index = nullptr)
    {
        EnvironmentUse use = makeUse();
        BDBTxn txn;
        EXPECT_EQ(txn.begin(TxnScope(&use), 0), 0);
        (void)rowOf(index != nullptr ? index : index_, &txn, key); // ignored: to have read it
        EXPECT_EQ(txn.commit(DB_TXN_SYNC), 0);
        EXPECT_FALSE(use.unflushed().hasWritten());
        return use;
    }

    /** Passes a use to the flusher; its result is in answers() under this number once it was answered. */
    bool flush(EnvironmentUse use, int number)
    {
        int rc = -1;
        const auto answer = [this, number](int result) {
            const std::lock_guard lock(mutex_);
            answers_.emplace_back(number, result);
        };
        if (!env_->logFlusher().flush(std::move(use), answer, &rc))
            return false;
        answer(rc);
        return true;
    }

    using Answers = std::vector<std::pair<int, int>>;
    Answers answers()
    {
        const std::lock_guard lock(mutex_);
        return answers_;
    }
    bool hasAnswers(std::size_t count)
    {
        return waitUntil([&] { return answers().size() == count; });
    }

    /** Holds the disk in the flush of a request that is alone; the call ends after the release. */
    [[nodiscard]] std::unique_ptr<BlockedCall<bool>> holdAFlush()
    {
        disk_.hold(env_.path());
        auto call = std::make_unique<BlockedCall<bool>>([this] { return flush(written("held"), 0); });
        EXPECT_TRUE(disk_.holds());
        return call;
    }

    /** For a request that is alone. */
    void settle(EnvironmentUse use)
    {
        int rc = -1;
        EXPECT_TRUE(env_->logFlusher().flush(std::move(use), nullptr, &rc));
        EXPECT_EQ(rc, 0);
    }

    std::uintmax_t flushes()
    {
        DB_LOG_STAT* statistics = nullptr;
        EXPECT_EQ(env_->log_stat(&statistics, 0), 0);
        const auto count = statistics->st_scount;
        std::free(statistics);
        return count;
    }

    HeldDiskHere disk_; // first: the environment has threads
    TempEnv env_;
    BDBIndex* index_ = nullptr;
    BDBIndex* other_ = nullptr;

private:
    std::mutex mutex_;
    Answers answers_; // guarded by mutex_
};

TEST_F(LogFlusherTest, ARequestThatIsAloneFlushesItself)
{
    const std::uintmax_t before = flushes();
    EXPECT_TRUE(flush(written("a"), 1));
    EXPECT_THAT(answers(), ElementsAre(std::pair(1, 0)));
    EXPECT_GT(flushes(), before);
    EXPECT_EQ(index_->state().undurable, 0);
    env_->uses()->waitUnused();
}

TEST_F(LogFlusherTest, OneFlushServesAllThatCameDuringTheOneBefore)
{
    const auto held = holdAFlush();
    EXPECT_EQ(index_->state().undurable, 1);
    const std::uintmax_t before = flushes();
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
