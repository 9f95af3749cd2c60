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

TEST(OpenPartition, FindsTheHandleOfEveryPartitionAgain)
{
    TableEnv tables;
    for (const QByteArray table : {"t", "u"}) {
        for (const unsigned partition : {0U, 1U, 255U}) {
            BDBIndex* const expected = tables.index(Records::dataFileName(table, partition), "data");
            for (int round = 0; round < 2; ++round) { // by name, then by number
                TestConnection connection(tables.registry());
                ASSERT_EQ(connection.context().envLookup(tables.tableName(), 0), 0);
                BDBIndex* db = nullptr;
                EXPECT_EQ(connection.context().openPartition(tables.tableName(table), partition, &db), 0);
                EXPECT_EQ(db, expected) << table.toStdString() << ' ' << partition;
            }
        }
    }
}

TEST(OpenPartition, OfAnEnvironmentThatWasReopenedIsOpenedThere)
{
    TableEnv tables;
    BDBIndex* db = nullptr;
    ASSERT_EQ(tables.context().openPartition(tables.tableName(), 7, &db), 0);
    tables.reopen();
    db = nullptr;
    ASSERT_EQ(tables.context().openPartition(tables.tableName(), 7, &db), 0);
    EXPECT_EQ(db, tables.index("t_07.db", "data"));
}

TEST(OpenPartition, WithoutACurrentEnvironmentFails)
{
    TableEnv tables;
    BDBIndex* db = nullptr;
    ASSERT_EQ(tables.context().openPartition(tables.tableName(), 7, &db), 0);
    tables.context().leave();
    const LogCapture log;
    EXPECT_EQ(tables.context().openPartition(tables.tableName(), 7, &db), -1);
    EXPECT_EQ(recordLines(log), (Lines{"[CRIT] bdb # bot_env is null"}));
}

TEST(OpenMeta, OpensTheDescriptionOfTheTablesFile)
{
    TableEnv tables;
    BDBIndex* db = nullptr;
    for (int round = 0; round < 2; ++round) { // by name, then by number
        ASSERT_EQ(tables.context().openMeta(tables.tableName("orders"), &db), 0);
        EXPECT_EQ(db, tables.index("orders", "meta"));
    }
}

TEST(TableContextReset, LeavesEverythingOfTheRequestBehind)
{
    TableEnv tables;
    TestConnection connection(tables.registry());
    TableContext& context = connection.context();
    for (const QByteArray& table : {tables.tableName(), tables.tableName(QByteArray(1000, 'x'))}) {
        ASSERT_EQ(context.openTable(table), 0);
        context.setKeySchema({});
        context.reset();
        EXPECT_EQ(context.env(), nullptr);
        EXPECT_FALSE(context.keySchema());
        excludeElsewhere(tables).get(); // the access lock is free
    }
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

TEST(OnlyFind, WhatIsNotOpenTakesLong)
{
    TableEnv tables;
    const TempDir closed;
    const LogCapture log;
    TestConnection connection(tables.registry());
    TableContext& context = connection.context();
    context.onlyFind();
    for (const int create : {0, 1})
        EXPECT_EQ(context.envLookup(closed.bytes() + "|t", create), StatusTakesLong);
    EXPECT_EQ(context.openTable(closed.bytes() + "|t"), StatusTakesLong);
    EXPECT_EQ(context.env(), nullptr);
    EXPECT_TRUE(std::filesystem::is_empty(closed.path()));

    ASSERT_EQ(context.openTable(tables.tableName()), StatusSuccess);
    BDBIndex* db = nullptr;
    EXPECT_EQ(context.openPartition(tables.tableName(), 0, &db), StatusTakesLong);
    EXPECT_EQ(db, nullptr);
    EXPECT_EQ(recordLines(log), Lines());
}

TEST(OnlyFind, FindsWhatIsOpen)
{
    TableEnv tables;
    BDBIndex* opened = nullptr;
    ASSERT_EQ(tables.context().openPartition(tables.tableName(), 0, &opened), StatusSuccess);
    TestConnection connection(tables.registry());
    TableContext& context = connection.context();
    context.onlyFind();
    ASSERT_EQ(context.openTable(tables.tableName()), StatusSuccess);
    EXPECT_EQ(context.env(), tables.env());
    BDBIndex* found = nullptr;
    EXPECT_EQ(context.openPartition(tables.tableName(), 0, &found), StatusSuccess);
    EXPECT_EQ(found, opened);
}

} // namespace
