#include "storage/environmentstatus.h"

#include "format/logfiles.h"
#include "rows.h"
#include "storage/bdbindex.h"
#include "storage/bdbregistry.h"
#include "storage/bdbtxn.h"
#include "storage/deadlockretry.h"
#include "storage/environmentpath.h"
#include "storage/openindex.h"
#include "storage/registrykeys.h"
#include "support/background.h"
#include "support/lockwaits.h"
#include "support/tempdir.h"
#include "support/waituntil.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <future>
#include <string>

#include <sys/stat.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

/** A registry with one environment. */
class EnvironmentStatusTest : public testing::Test {
protected:
    void SetUp() override
    {
        const QByteArray home = directory_.bytes();
        ASSERT_EQ(Registry::openEnv(&registry_, RegistryKeys::environment(home), &use_, 1024, 1, home), 0);
        connection_.setEnv(env());
        orders_ = open("orders");
        ASSERT_TRUE(waitUntil([&] { return status().lastCheckpoint.has_value(); })) << "of the checkpoint thread";
    }
    void TearDown() override
    {
        use_.reset();
        Registry::removeEnv(&registry_, directory_.bytes() + "|t");
    }

    BDBEnv* env() const { return use_.env(); }

    BDBIndex* open(const QByteArray& file)
    {
        BDBIndex* index = nullptr;
        EXPECT_EQ(Registry::openIndex(&connection_, QString::fromUtf8("db::" + file), file, "data", &index), 0);
        return index;
    }

    EnvironmentStatus status()
    {
        const std::vector<EnvironmentStatus> all = EnvironmentStatus::ofAll(&registry_);
        EXPECT_THAT(all, SizeIs(1));
        return all.empty() ? EnvironmentStatus() : all.front();
    }

    /** With Berkeley DB's current statistics. */
    EnvironmentStatus freshStatus()
    {
        const auto asked = std::chrono::system_clock::now();
        EnvironmentStatus found;
        EXPECT_TRUE(waitUntil([&] {
            found = status();
            return found.engine && found.engine->time >= asked;
        }));
        return found;
    }

    void write(const char* key, bool commits)
    {
        BDBTxn txn;
        ASSERT_EQ(txn.beginWriting(env(), {&orders_, 1}), 0);
        ASSERT_EQ(putRow(orders_, &txn, key, "value"), 0);
        ASSERT_EQ(commits ? txn.commit(DB_TXN_NOSYNC) : txn.abort(), 0);
    }
    void read(const char* key)
    {
        BDBTxn txn;
        ASSERT_EQ(txn.begin(env(), 0), 0);
        (void)rowOf(orders_, &txn, key); // ignored: to have read it
        ASSERT_EQ(txn.commit(DB_TXN_NOSYNC), 0);
    }

    const TempDir directory_;
    BDBObjTable registry_{16};
    BDBObjTable connection_{256};
    EnvironmentUse use_;
    BDBIndex* orders_ = nullptr;
};

TEST_F(EnvironmentStatusTest, CountsTransactionsThatWrite)
{
    for (const char* key : {"a", "b", "c"})
        write(key, true);
    write("d", false);
    write("e", false);
    read("a");
    read("none");
    {
        BDBTxn unfinished;
        ASSERT_EQ(unfinished.beginWriting(env(), {&orders_, 1}), 0);
    }
    EXPECT_EQ(status().commits, 3U);
    EXPECT_EQ(status().aborts, 3U);
}

TEST_F(EnvironmentStatusTest, CountsFlushesAndReportsTheLastCheckpoint)
{
    const std::uint64_t flushes = status().flushes;
    EXPECT_EQ(env()->log_flush(nullptr), 0);
    EXPECT_EQ(env()->log_flush(nullptr), 0);
    EXPECT_EQ(status().flushes, flushes + 2);
    const auto before = std::chrono::system_clock::now();
    ASSERT_EQ(env()->txn_checkpoint(0, 0, DB_FORCE), 0);
    EXPECT_GE(status().lastCheckpoint, before);
    EXPECT_LE(status().lastCheckpoint, std::chrono::system_clock::now());
}

TEST_F(EnvironmentStatusTest, ReportsWhereTheLogIs)
{
    const EnvironmentStatus before = freshStatus();
    for (int i = 0; i < 50; ++i)
        write(("key " + std::to_string(i)).c_str(), true);
    ASSERT_EQ(env()->log_flush(nullptr), 0);
    const EnvironmentStatus after = freshStatus();
    EXPECT_GT(after.engine->logOffset, before.engine->logOffset);
    EXPECT_EQ(after.engine->logFile, 1U);
    EXPECT_EQ(after.engine->logFiles, 1U);
    struct stat file {};
    ASSERT_EQ(stat(directory_.file(LogFiles::name(1)).c_str(), &file), 0);
    EXPECT_EQ(after.engine->logBytes, static_cast<std::uint64_t>(file.st_blocks) * 512);
    EXPECT_GE(after.engine->logBytes, after.engine->logOffset) << "all of it was flushed";
    DbLogc* log = nullptr;
    ASSERT_EQ(env()->log_cursor(&log, 0), 0);
    DbLsn last;
    Dbt record;
    ASSERT_EQ(log->get(&last, &record, DB_LAST), 0);
    EXPECT_EQ(last.file, after.engine->logFile);
    EXPECT_EQ(last.offset + 12 + record.get_size(), after.engine->logOffset);
    EXPECT_EQ(log->close(0), 0);
}

TEST_F(EnvironmentStatusTest, CountsHitsAndDirtyPagesOfTheCache)
{
    write("a", true);
    ASSERT_EQ(env()->txn_checkpoint(0, 0, DB_FORCE), 0);
    const EnvironmentStatus before = freshStatus();
    EXPECT_GE(before.engine->cacheBytes, 16U << 20);
    EXPECT_GT(before.engine->cachePages, 0U);
    for (int i = 0; i < 100; ++i)
        read("a");
    EXPECT_GE(freshStatus().engine->cacheHits, before.engine->cacheHits + 100);
    EXPECT_EQ(freshStatus().engine->cacheMisses, before.engine->cacheMisses);
    write("b", true);
    EXPECT_GT(freshStatus().engine->dirtyPages, before.engine->dirtyPages);
}

TEST_F(EnvironmentStatusTest, CountsLockWaitsAndDeadlocks)
{
    BDBIndex* const other = open("other");
    BDBTxn first;
    BDBTxn second;
    ASSERT_EQ(first.begin(env(), 0), 0);
    ASSERT_EQ(second.begin(env(), 0), 0);
    ASSERT_EQ(putRow(orders_, &first, "a", "1"), 0);
    ASSERT_EQ(putRow(other, &second, "b", "1"), 0);
    const EnvironmentStatus before = freshStatus();
    auto waiting = inBackground([&] { return putRow(other, &first, "b", "2"); });
    ASSERT_TRUE(waitUntil([&] { return freshStatus().engine->lockWaits == before.engine->lockWaits + 1; }))
        << "told while locks are waited for";
    EXPECT_EQ(putRow(orders_, &second, "a", "2"), DB_LOCK_DEADLOCK);
    EXPECT_EQ(second.abort(), 0);
    EXPECT_EQ(waiting.get(), 0);
    EXPECT_EQ(first.commit(DB_TXN_NOSYNC), 0);
    EXPECT_EQ(freshStatus().engine->deadlocks, before.engine->deadlocks + 1);
}

TEST_F(EnvironmentStatusTest, NamesWhatIsOpen)
{
    EXPECT_EQ(status().directory, QByteArray::fromStdString(std::filesystem::canonical(directory_.path())));
    EXPECT_THAT(status().tables, IsEmpty());
    EXPECT_EQ(status().files, 1);
    env()->openTables().add("t", OpenTables::Meta, open("t"));
    env()->openTables().add("t", 17, open("t_11.db"));
    env()->openTables().add("a", 0, open("a_00.db"));
    env()->openTables().add("never", 0, orders_);
    for (const char* table : {"t", "a"})
        env()->openTables().noteCreated(table);
    EXPECT_THAT(status().tables, ElementsAre("a", "t"));
    EXPECT_EQ(status().files, 4);
    EXPECT_EQ(status().backup.state, BDBBackupStatus::None);
}

} // namespace
