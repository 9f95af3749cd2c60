#include "records/tablecontext.h"

#include "recordlines.h"
#include "records/requeststatus.h"
#include "support/blockedcall.h"
#include "support/tableenv.h"

#include <gtest/gtest.h>

#include <filesystem>
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

TEST(OpenTable, OfAnEnvironmentThatIsBeingDeletedIsNotFoundImmediately)
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

TEST(TableContextReset, ForgetsEverythingOfTheRequest)
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
