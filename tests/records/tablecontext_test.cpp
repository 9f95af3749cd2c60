#include "records/tablecontext.h"

#include "items.h"
#include "rawrecords.h"
#include "recordlines.h"
#include "records/encoding.h"
#include "records/requeststatus.h"
#include "support/blockedcall.h"
#include "support/tableenv.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>

namespace {

TEST(EnvLookup, OpensTheDirectoryInFrontOfTheLastBar)
{
    TempDir directory;
    BDBObjTable registry(16);
    {
        TestConnection connection(&registry);
        const LogCapture log;
        EXPECT_EQ(connection.context().envLookup(directory.bytes() + "|t", 1), 0);
        const std::string path = directory.path();
        EXPECT_EQ(recordLines(log), (Lines{"[DEBUG] Adding new env path " + path + " id env::" + path}));
        BDBEnv* env = connection.context().env();
        ASSERT_NE(env, nullptr);
        EXPECT_EQ(connection.table()->env(), env);
        const char* home = nullptr;
        ASSERT_EQ(env->get_home(&home), 0);
        EXPECT_EQ(home, path);
    }
    const auto lock = Registry::lockEnv(&registry, directory.bytes() + "|t", true);
    ASSERT_NE(lock, nullptr);
    Registry::removeEnv(&registry, directory.bytes());
    Registry::dropEnvLock(&registry, lock);
}

TEST(EnvLookup, WithoutABarTheWholeNameIsTheDirectory)
{
    TableEnv tables;
    TestConnection other(tables.registry());
    EXPECT_EQ(other.context().envLookup(tables.directory().bytes(), 0), 0);
    EXPECT_EQ(other.context().env(), tables.env());
}

TEST(EnvLookup, FindsForAnotherRequestWhatIsOpen)
{
    TableEnv tables;
    const LogCapture log;
    for (const int create : {0, 1}) {
        TestConnection other(tables.registry());
        EXPECT_EQ(other.context().envLookup(tables.tableName("other"), create), 0);
        EXPECT_EQ(other.context().env(), tables.env());
        EXPECT_EQ(other.table()->env(), tables.env());
    }
    EXPECT_EQ(recordLines(log), Lines());
}

TEST(EnvLookup, GivesARequestAgainWhatItFoundBefore)
{
    TableEnv tables;
    BDBEnv* const found = tables.env();
    // Whoever holds the registry's mutex keeps it: the second look does not need it.
    const QMutexLocker locker(&tables.registry()->mutex());
    EXPECT_EQ(tables.context().envLookup(tables.tableName("another"), 0), 0);
    EXPECT_EQ(tables.env(), found);
}

TEST(EnvLookup, AnotherDirectoryReplacesTheCurrentEnvironment)
{
    TableEnv tables;
    BDBEnv* const first = tables.env();
    const TempDir second;
    ASSERT_EQ(tables.context().envLookup(second.bytes() + "|t", 1), 0);
    EXPECT_NE(tables.env(), first);
    EXPECT_EQ(tables.connectionTable()->env(), tables.env());

    ASSERT_EQ(tables.context().envLookup(tables.tableName(), 0), 0);
    EXPECT_EQ(tables.env(), first);

    const auto lock = Registry::lockEnv(tables.registry(), second.bytes(), true);
    ASSERT_NE(lock, nullptr);
    Registry::removeEnv(tables.registry(), second.bytes());
    Registry::dropEnvLock(tables.registry(), lock);
}

TEST(EnvLookup, HandsTheRegistrysCodesOn)
{
    TableEnv tables;
    BDBEnv* const current = tables.env();
    const std::string missing = tables.directory().file("missing");
    const QByteArray name = QByteArray::fromStdString(missing) + "|t";
    {
        const LogCapture log;
        EXPECT_EQ(tables.context().envLookup(name, 0), StatusNotFound);
        EXPECT_EQ(recordLines(log), (Lines{"[CRIT] bdb # Failed to load env with id: env::" + missing}));
    }
    {
        const LogCapture log;
        EXPECT_EQ(tables.context().envLookup(name, 1), StatusNotFound);
        EXPECT_EQ(recordLines(log), (Lines{"[CRIT] bdb # Failed to open env path: " + missing + " id env::" + missing +
                                           " rc " + std::to_string(ENOENT)}));
    }
    EXPECT_FALSE(std::filesystem::exists(missing));
    // The request has let go of the environment that it had, and finds it again.
    EXPECT_EQ(tables.env(), nullptr);
    EXPECT_EQ(tables.connectionTable()->env(), nullptr);
    EXPECT_EQ(tables.context().envLookup(tables.tableName(), 0), 0);
    EXPECT_EQ(tables.env(), current);
}

/** Looks a directory up in a registry without room and ends the process: 0 when all went as it should. */
[[noreturn]] void lookUpInAFullRegistry()
{
    bool good = false;
    {
        const TempDir directory;
        BDBObjTable registry(1); // slot 0 is never used
        TestConnection connection(&registry);
        const LogCapture log;
        const int rc = connection.context().envLookup(directory.bytes() + "|t", 1);
        const std::string path = directory.path();
        const Lines expected{"[DEBUG] Adding new env path " + path + " id env::" + path,
                             "[CRIT] bdb # Failed to add env with id: env::" + path};
        good = rc == StatusInternalError && recordLines(log) == expected && connection.context().env() == nullptr;
    }
    std::_Exit(good ? 0 : 1);
}

TEST(EnvLookupDeathTest, AFullRegistryIsReportedAsTwo)
{
    // In a process of its own: the environment belongs to nobody then and is never closed.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(lookUpInAFullRegistry(), testing::ExitedWithCode(0), "");
}

TEST(EnvLookup, GivesTheEnvironmentItsTableCapacity)
{
    const TempDir directory;
    BDBObjTable registry(4);
    {
        TestConnection connection(&registry, 2); // room for one database
        ASSERT_EQ(connection.context().envLookup(directory.bytes() + "|t", 1), 0);
        BDBIndex* db = nullptr;
        EXPECT_EQ(connection.context().dbOpen("a", "data", &db), 0);
        const LogCapture log;
        EXPECT_EQ(connection.context().dbOpen("b", "data", &db), 12);
        EXPECT_EQ(recordLines(log), (Lines{"[ERROR] bdb #  addDesc objType 1 fname a dbname data",
                                           "[CRIT] bdb # Failed to open DB with id: db::b:data"}));
    }
    const auto lock = Registry::lockEnv(&registry, directory.bytes(), true);
    ASSERT_NE(lock, nullptr);
    Registry::removeEnv(&registry, directory.bytes());
    Registry::dropEnvLock(&registry, lock);
}

TEST(LeaveEnvironment, LeavesTheRequestWithoutOne)
{
    TableEnv tables;
    tables.context().leave();
    EXPECT_EQ(tables.env(), nullptr);
    EXPECT_EQ(tables.connectionTable()->env(), nullptr);
    tables.context().leave(); // again, without harm
    EXPECT_EQ(tables.context().envLookup(tables.tableName(), 0), 0);
    EXPECT_NE(tables.env(), nullptr);
}

/** Another thread that takes the environment's access lock exclusively, as a DeleteTable does, and gives it back. */
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
    EXPECT_EQ(tables.context().openTable(tables.tableName("another")), StatusSuccess); // has it already
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

} // namespace
