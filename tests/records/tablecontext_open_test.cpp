#include "records/tablecontext.h"

#include "items.h"
#include "recordlines.h"
#include "records/encoding.h"
#include "records/requeststatus.h"
#include "support/blockedcall.h"
#include "support/tableenv.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <string>
#include <thread>

namespace {

/** Another thread that takes the environment's access lock exclusively, as a DeleteTable does, and releases it. */
BlockedCall<void> excludeElsewhere(TableEnv& tables)
{
    return BlockedCall([&tables] {
        const auto lock = Registry::lockEnv(tables.registry(), tables.tableName(), true);
        ASSERT_NE(lock, nullptr);
        lock->unlock();
    });
}

TEST(OpenTable, HoldsTheAccessLockUntilTheContextLeaves)
{
    TableEnv tables;
    TestConnection request(tables.registry());
    EXPECT_EQ(request.context().openTable(tables.tableName()), StatusSuccess);
    EXPECT_EQ(request.context().env(), tables.env());
    auto writer = excludeElsewhere(tables);
    EXPECT_TRUE(waitUntil([&] { return writer.sleeps(); }));
    request.context().leave();
    writer.get();
}

TEST(OpenTable, TakesTheAccessLockOfAnEnvironmentThatWasLookedUpBefore)
{
    TableEnv tables;
    excludeElsewhere(tables).get(); // the look-up alone does not hold it
    EXPECT_EQ(tables.context().openTable(tables.tableName()), StatusSuccess);
    EXPECT_EQ(tables.context().openTable(tables.tableName("another")), StatusSuccess); // already has it
    auto writer = excludeElsewhere(tables);
    EXPECT_TRUE(waitUntil([&] { return writer.sleeps(); }));
    tables.context().leave();
    writer.get();
    EXPECT_EQ(tables.context().envLookup(tables.tableName(), 0), 0);
}

TEST(OpenTable, OfAnEnvironmentThatIsBeingDeletedIsNotFoundAtOnce)
{
    TableEnv tables;
    const auto lock = Registry::lockEnv(tables.registry(), tables.tableName(), true);
    ASSERT_NE(lock, nullptr);
    std::thread([&] {
        TestConnection request(tables.registry());
        const LogCapture log;
        EXPECT_EQ(request.context().openTable(tables.tableName()), StatusNotFound);
        EXPECT_EQ(recordLines(log), Lines());
    }).join();
    lock->unlock();
}

TEST(OpenTable, HandsTheRegistrysCodesOn)
{
    TableEnv tables;
    const QByteArray missing = QByteArray::fromStdString(tables.directory().file("missing"));
    const LogCapture log;
    EXPECT_EQ(tables.context().openTable(missing + "|t"), StatusNotFound);
    EXPECT_EQ(tables.env(), nullptr);
    EXPECT_EQ(recordLines(log).size(), 1U);
    EXPECT_EQ(tables.context().envLookup(tables.tableName(), 0), 0);
}

TEST(OpenTable, DismissedAccessIsLeftToTheCaller)
{
    TableEnv tables;
    ASSERT_EQ(tables.context().openTable(tables.tableName()), StatusSuccess);
    tables.context().dismissAccess();
    tables.context().leave();
    auto writer = excludeElsewhere(tables);
    EXPECT_TRUE(waitUntil([&] { return writer.sleeps(); }));
    Registry::unlockEnv(tables.registry(), tables.tableName());
    writer.get();
    EXPECT_EQ(tables.context().envLookup(tables.tableName(), 0), 0);
}

TEST(DbOpen, OpensTheSubDatabaseOfTheFileThatTheNameNames)
{
    TableEnv tables;
    BDBIndex* db = nullptr;
    ASSERT_EQ(tables.context().dbOpen(tables.tableName("orders_3f.db"), "data", &db), 0);
    ASSERT_NE(db, nullptr);
    const char* file = nullptr;
    const char* name = nullptr;
    ASSERT_EQ(db->get_dbname(&file, &name), 0);
    EXPECT_STREQ(file, "orders_3f.db");
    EXPECT_STREQ(name, "data");
    EXPECT_TRUE(std::filesystem::exists(tables.directory().file("orders_3f.db")));
    EXPECT_TRUE(tables.env()->names().contains("db::orders_3f.db:data"));
}

TEST(DbOpen, TheBytesOfTheNameAreThoseOfTheFile)
{
    TableEnv tables;
    BDBIndex* db = nullptr;
    ASSERT_EQ(tables.context().dbOpen(Records::dataFileName(tables.tableName("caf\xc3\xa9"), 0x0a), "data", &db), 0);
    EXPECT_TRUE(std::filesystem::exists(tables.directory().file("caf\xc3\xa9_0a.db")));
}

TEST(OpenPartition, OpensTheDataOfThePartitionsFile)
{
    TableEnv tables;
    BDBIndex* db = nullptr;
    ASSERT_EQ(tables.context().openPartition(tables.tableName("orders"), 0x3f, &db), 0);
    EXPECT_EQ(db, tables.index("orders_3f.db", "data"));
}

TEST(DbOpen, SharesTheHandleAmongRequests)
{
    TableEnv tables;
    TestConnection other(tables.registry());
    ASSERT_EQ(other.context().envLookup(tables.tableName(), 0), 0);
    BDBIndex* first = nullptr;
    BDBIndex* second = nullptr;
    BDBIndex* meta = nullptr;
    BDBIndex* otherFile = nullptr;
    EXPECT_EQ(tables.context().dbOpen(tables.tableName("t"), "data", &first), 0);
    EXPECT_EQ(other.context().dbOpen("elsewhere|t", "data", &second), 0); // only the file part counts
    EXPECT_EQ(other.context().dbOpen("t", "meta", &meta), 0);
    EXPECT_EQ(other.context().dbOpen("t2", "data", &otherFile), 0);
    EXPECT_EQ(first, second);
    EXPECT_NE(first, meta);
    EXPECT_NE(first, otherFile);
}

TEST(DbOpen, WithoutABarTheFileIsNamedByTheLastPathElement)
{
    TableEnv tables;
    const QByteArray path = tables.directory().bytes();
    const QByteArray last = path.mid(path.lastIndexOf('/') + 1);
    BDBIndex* db = nullptr;
    ASSERT_EQ(tables.context().dbOpen(path, "meta", &db), 0);
    EXPECT_TRUE(tables.env()->names().contains(QString::fromUtf8("db::" + last + ":meta")));
    EXPECT_TRUE(std::filesystem::exists(tables.directory().file(last.toStdString())));
}

TEST(DbOpen, WithoutACurrentEnvironmentFails)
{
    TableEnv tables;
    tables.context().leave();
    BDBIndex* db = nullptr;
    const LogCapture log;
    EXPECT_EQ(tables.context().dbOpen("t", "data", &db), -1);
    EXPECT_EQ(recordLines(log), (Lines{"[CRIT] bdb # bot_env is null"}));
}

TEST(DbOpen, AFileThatCannotBeOpenedIsTwelve)
{
    TableEnv tables;
    tables.directory().makeDirectory("t");
    BDBIndex* db = nullptr;
    const LogCapture log;
    EXPECT_EQ(tables.context().dbOpen(tables.tableName("t"), "data", &db), 12);
    const Lines lines = recordLines(log);
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.back(),
              "[CRIT] bdb # Failed to open DB dbpath: t dbname data rc " + std::to_string(EISDIR) + " flags 289");
}

} // namespace
