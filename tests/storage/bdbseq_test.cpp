#include "storage/bdbseq.h"

#include "loglines.h"
#include "rows.h"
#include "support/tempenv.h"
#include "support/waituntil.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <memory>

namespace {

class BDBSeqTest : public testing::Test {
protected:
    int open(BDBSeq& sequence, std::int64_t initial, std::int64_t min, std::int64_t max, int cacheSize = 0,
             u_int32_t flags = DB_CREATE | DB_THREAD)
    {
        std::string key = "sequence";
        Dbt keyBytes = dbtOf(key);
        return sequence.open(index_, initial, min, max, cacheSize, &keyBytes, flags);
    }

    /** Expects that nothing is open. */
    static void expectNoSequence(BDBSeq& sequence)
    {
        std::int64_t value = 77;
        EXPECT_EQ(sequence.next(&value), 12);
        EXPECT_EQ(value, 77);
        EXPECT_EQ(sequence.close(), 22);
    }

    static std::int64_t next(BDBSeq& sequence)
    {
        std::int64_t value = -1;
        EXPECT_EQ(sequence.next(&value), 0);
        return value;
    }

    TempEnv env_;
    BDBIndex* index_ = env_.index("numbers");
};

TEST_F(BDBSeqTest, IsOfType4)
{
    EXPECT_EQ(BDBSeq().type(), 4);
}

TEST_F(BDBSeqTest, CountsFromTheInitialValue)
{
    BDBSeq sequence;
    ASSERT_EQ(open(sequence, 5, -10, 100), 0);
    EXPECT_EQ(next(sequence), 5);
    EXPECT_EQ(next(sequence), 6);
    EXPECT_EQ(next(sequence), 7);
    EXPECT_EQ(sequence.close(), 0);
}

TEST_F(BDBSeqTest, EndsWithItsRange)
{
    LogCapture log;
    BDBSeq sequence;
    ASSERT_EQ(open(sequence, 9, 0, 10), 0);
    EXPECT_EQ(next(sequence), 9);
    EXPECT_EQ(next(sequence), 10);
    std::int64_t value = 77;
    EXPECT_NE(sequence.next(&value), 0);
    EXPECT_EQ(value, 77);
}

TEST_F(BDBSeqTest, ContinuesWhereItWasAfterReopening)
{
    {
        BDBSeq sequence;
        ASSERT_EQ(open(sequence, 1, 0, 1000), 0);
        EXPECT_EQ(next(sequence), 1);
        EXPECT_EQ(next(sequence), 2);
    }
    env_.reopen();
    index_ = env_.index("numbers");
    BDBSeq sequence;
    ASSERT_EQ(open(sequence, 500, 0, 1000), 0); // the settings of its creation hold
    EXPECT_EQ(next(sequence), 3);
}

TEST_F(BDBSeqTest, TakesNumbersFromStorageInCachefuls)
{
    {
        BDBSeq sequence;
        ASSERT_EQ(open(sequence, 1, 0, 1000, 10), 0);
        EXPECT_EQ(next(sequence), 1);
        EXPECT_EQ(next(sequence), 2);
    }
    BDBSeq sequence;
    ASSERT_EQ(open(sequence, 1, 0, 1000, 10), 0);
    EXPECT_EQ(next(sequence), 11); // the rest of the first ten is lost
}

TEST_F(BDBSeqTest, OpenStopsAtTheFirstFailureAndLeavesNothingOpen)
{
    LogCapture log;
    BDBSeq sequence;
    EXPECT_EQ(open(sequence, 1, 10, 0), EINVAL); // the range is upside down
    expectNoSequence(sequence);
    EXPECT_EQ(open(sequence, 1, 0, 10, -1), EINVAL);
    expectNoSequence(sequence);
    EXPECT_EQ(open(sequence, 50, 0, 10), EINVAL); // starts outside its range
    expectNoSequence(sequence);
    EXPECT_EQ(open(sequence, 1, 0, 10, 0, DB_THREAD), DB_NOTFOUND); // is not there, and not to be created
    expectNoSequence(sequence);
    EXPECT_EQ(rowOf(index_, nullptr, "sequence"), NoRow);
    EXPECT_EQ(open(sequence, 1, 0, 10), 0); // usable after all that
    EXPECT_EQ(next(sequence), 1);
}

TEST_F(BDBSeqTest, CallsWithoutASequenceHaveTheirResults)
{
    BDBSeq sequence;
    expectNoSequence(sequence);
}

TEST_F(BDBSeqTest, SecondCloseIs22)
{
    BDBSeq sequence;
    ASSERT_EQ(open(sequence, 1, 0, 10), 0);
    EXPECT_EQ(sequence.close(), 0);
    expectNoSequence(sequence);
}

TEST_F(BDBSeqTest, NextDoesNotWaitForTheDisk)
{
    BDBSeq sequence;
    ASSERT_EQ(open(sequence, 1, 0, 1000), 0);
    const auto unwritten = [&] {
        DB_LOG_STAT* statistics = nullptr;
        EXPECT_EQ(env_->log_stat(&statistics, 0), 0);
        const bool behind = statistics->st_disk_offset != statistics->st_cur_offset;
        std::free(statistics);
        return behind;
    };
    EXPECT_TRUE(waitUntil([&] { return next(sequence) > 0 && unwritten(); })); // the environment's threads may write it
}

TEST_F(BDBSeqTest, DestructorClosesIt)
{
    LogCapture log(LogWarn);
    auto sequence = std::make_unique<BDBSeq>();
    ASSERT_EQ(open(*sequence, 1, 0, 1000, 10), 0);
    EXPECT_EQ(next(*sequence), 1);
    sequence.reset();
    env_.close(); // complains about sequences that are open
    EXPECT_THAT(ownLines(log), testing::IsEmpty());
}

} // namespace
