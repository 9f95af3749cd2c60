#include "records/tablecontext.h"

#include "items.h"
#include "recordlines.h"
#include "records/encoding.h"
#include "records/requeststatus.h"
#include "support/tableenv.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <string>

namespace {

/** Looks up a directory in a full registry and exits the process: with 0 if everything was as expected. */
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

TEST(EnvLookup, OpensTheDirectoryBeforeTheLastBar)
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
    // The second look-up does not need the registry's mutex, which is held here.
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
    // The request has released its environment, and finds it again.
    EXPECT_EQ(tables.env(), nullptr);
    EXPECT_EQ(tables.connectionTable()->env(), nullptr);
    EXPECT_EQ(tables.context().envLookup(tables.tableName(), 0), 0);
    EXPECT_EQ(tables.env(), current);
}

TEST(EnvLookupDeathTest, AFullRegistryIsReportedAsTwo)
{
    // In a separate process, as the environment ends up without an owner and is never closed.
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
                                           "[CRIT] bdb # Failed to open DB with id: db::b:data",
                                           "[WARN] " + directory.path() +
                                               " has as many database files open as a directory can have; further "
                                               "tables need another directory"}));
        EXPECT_FALSE(std::filesystem::exists(directory.file("b")));
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
    tables.context().leave(); // calling it again is harmless
    EXPECT_EQ(tables.context().envLookup(tables.tableName(), 0), 0);
    EXPECT_NE(tables.env(), nullptr);
}

} // namespace
