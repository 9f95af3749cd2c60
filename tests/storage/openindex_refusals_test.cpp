// Databases that cannot be opened.
#include "storage/openindex.h"

#include "childprocess.h"
#include "descriptorlimit.h"
#include "loglines.h"
#include "rows.h"
#include "support/files.h"
#include "support/tempenv.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

namespace {

using testing::ElementsAre;

int openData(TempEnv& env, const QByteArray& file, BDBIndex** index)
{
    return Registry::openIndex(env.table(), QString::fromUtf8("db::" + file + ":data"), file, "data", index);
}

TEST(OpenIndex, WithoutAnEnvironmentIsMinusOne)
{
    LogCapture log;
    BDBObjTable connection(256);
    BDBIndex* index = nullptr;
    EXPECT_EQ(Registry::openIndex(&connection, "db::orders:data", "orders", "data", &index), -1);
    EXPECT_EQ(index, nullptr);
    EXPECT_THAT(ownLines(log), ElementsAre("[CRIT] bdb # bot_env is null"));
}

TEST(OpenIndex, DatabaseThatCannotBeOpenedIs12AndMayBeOpenedLater)
{
    TempEnv env;
    std::filesystem::create_directory(env.file("orders"));
    LogCapture log;
    BDBIndex* index = nullptr;
    EXPECT_EQ(openData(env, "orders", &index), 12);
    EXPECT_EQ(ownLines(log).back(), "[CRIT] bdb # Failed to open DB dbpath: orders dbname data rc 21 flags 289");
    EXPECT_TRUE(env->names().isEmpty());
    std::filesystem::remove(env.file("orders"));
    EXPECT_EQ(openData(env, "orders", &index), 0);
    EXPECT_EQ(env->getObject(1, BDBIndexType), static_cast<BDBObject*>(index));
}

TEST(OpenIndex, FileThatIsNoDatabaseIs12)
{
    TempEnv env;
    std::ofstream(env.file("orders")) << std::string(5000, 'x');
    LogCapture log;
    BDBIndex* index = nullptr;
    EXPECT_EQ(openData(env, "orders", &index), 12);
    EXPECT_EQ(ownLines(log).back(), "[CRIT] bdb # Failed to open DB dbpath: orders dbname data rc 22 flags 289");
    EXPECT_EQ(readFile(env.file("orders")), std::string(5000, 'x'));
}

TEST(OpenIndex, DatabaseOfAnotherTypeIs12)
{
    TempEnv env;
    {
        BDBIndex hash(env.get(), DB_CXX_NO_EXCEPTIONS);
        ASSERT_EQ(hash.open("orders", "data", DB_HASH, DB_CREATE | DB_AUTO_COMMIT), 0);
    }
    LogCapture log;
    BDBIndex* index = nullptr;
    EXPECT_EQ(openData(env, "orders", &index), 12);
    EXPECT_EQ(ownLines(log).back(), "[CRIT] bdb # Failed to open DB dbpath: orders dbname data rc 22 flags 289");
}

TEST(OpenIndex, NameWithAZeroByteIsNotTheNameBeforeIt)
{
    TempEnv env;
    ASSERT_EQ(putRow(env.index("orders"), nullptr, "key", "value"), 0);
    LogCapture log;
    BDBIndex* index = nullptr;
    EXPECT_EQ(openData(env, QByteArray("orders\0x", 8), &index), 12);
    EXPECT_THAT(ownLines(log),
                ElementsAre("[CRIT] bdb # Failed to open DB dbpath: orders")); // the line ends at the zero byte
    EXPECT_EQ(env->names().size(), 1);
}

TEST(OpenIndex, FileThatNoTableMayHaveIs12AndIsNotMade)
{
    TempEnv env;
    BDBIndex* orders = env.index("orders");
    for (const char* file : {"", "_3f.db", "../orders", "./orders", "/orders", "sub/", "sub//orders", "DB_CONFIG",
                             "DB_CONFIG_3f.db", "log.0000000050", "log.0000000050_3f.db", "__db.001", "__log__",
                             "BackupInProgress.tmp", "orders_3f.db_3f.db"}) {
        LogCapture log;
        BDBIndex* index = nullptr;
        EXPECT_EQ(openData(env, file, &index), 12) << file;
        EXPECT_THAT(ownLines(log), ElementsAre("[CRIT] bdb # Failed to open DB dbpath: " + std::string(file) +
                                               " dbname data rc 22 flags 289"));
        EXPECT_EQ(index, nullptr) << file;
    }
    BDBIndex* index = nullptr;
    EXPECT_EQ(Registry::openIndex(env.table(), "db::orders_3f.db:meta", "orders_3f.db", "meta", &index), 12);
    EXPECT_EQ(openData(env, "orders_3f.db", &index), 0);
    EXPECT_EQ(env->names().size(), 2);
    for (const auto& entry : std::filesystem::directory_iterator(env.file("")))
        EXPECT_THAT(entry.path().filename(), testing::AnyOf("orders", "orders_3f.db", "log.0000000001"));
    EXPECT_EQ(putRow(orders, nullptr, "key", "value"), 0);
}

TEST(OpenIndex, FullTableIs12AfterNamingWhatIsOpen)
{
    TempEnv env(3);
    (void)env.index("orders", "meta");
    BDBIndex* data = env.index("orders_3f.db", "data");
    LogCapture log;
    BDBIndex* index = nullptr;
    EXPECT_EQ(openData(env, "stock", &index), 12);
    EXPECT_THAT(ownLines(log), ElementsAre("[ERROR] bdb #  addDesc objType 1 fname orders dbname meta",
                                           "[ERROR] bdb #  addDesc objType 1 fname orders_3f.db dbname data",
                                           "[CRIT] bdb # Failed to open DB with id: db::stock:data",
                                           testing::EndsWith(" has as many database files open as a directory can "
                                                             "have; further tables need another directory")));
    EXPECT_EQ(env->names().size(), 2);
    EXPECT_FALSE(std::filesystem::exists(env.file("stock")));
    EXPECT_EQ(putRow(data, nullptr, "key", "value"), 0); // the others stay usable
    EXPECT_EQ(env.index("orders_3f.db", "data"), data);
}

TEST(OpenIndex, IsRefusedWithoutDescriptorsToSpareAndHarmsNothing)
{
    ChildProcess child([](const auto&) {
        TempEnv env;
        BDBIndex* before = env.index("before");
        LogCapture log(LogWarn);
        limitDescriptors(15);
        BDBIndex* index = nullptr;
        EXPECT_EQ(openData(env, "orders", &index), 12);
        EXPECT_THAT(ownLines(log),
                    ElementsAre("[CRIT] bdb # Failed to open DB dbpath: orders dbname data rc 24 flags 289"));
        EXPECT_FALSE(std::filesystem::exists(env.file("orders")));
        EXPECT_EQ(env.index("before"), before); // an open database needs no descriptor
        EXPECT_EQ(putRow(before, nullptr, "key", "value"), 0);
        EXPECT_EQ(env->txn_checkpoint(0, 0, DB_FORCE), 0);
        limitDescriptors(16);
        EXPECT_EQ(openData(env, "orders", &index), 0);
        EXPECT_EQ(putRow(index, nullptr, "key", "value"), 0);
    });
    EXPECT_EQ(child.waitForExit(), 0);
}

TEST(OpenIndex, OpensUpToTheDescriptorLimitInManyThreadsAndHarmsNothing)
{
    ChildProcess child([](const auto&) {
        TempEnv env;
        LogCapture log(LogWarn);
        limitDescriptors(60);
        std::vector<std::thread> threads;
        for (int t = 0; t < 4; ++t)
            threads.emplace_back([&env, t] {
                BDBObjTable connection(256);
                connection.setEnv(env.get());
                for (int i = 0; i < 30; ++i) {
                    const QByteArray file = QByteArray::number(t) + '_' + QByteArray::number(i);
                    BDBIndex* index = nullptr;
                    const int rc = Registry::openIndex(&connection, "db::" + file + ":data", file, "data", &index);
                    EXPECT_TRUE(rc == 12 || (rc == 0 && putRow(index, nullptr, "key", "value") == 0)) << rc;
                }
            });
        for (std::thread& thread : threads)
            thread.join();
        EXPECT_GE(env->names().size(), 30);
        EXPECT_LT(env->names().size(), 60);
        EXPECT_EQ(log.count(" rc 24 flags 289"), 120U - static_cast<std::size_t>(env->names().size())) << log.text();
        EXPECT_EQ(ownLines(log).size(), log.count(" rc 24 flags 289")); // Berkeley DB never reached the limit
        EXPECT_EQ(env->txn_checkpoint(0, 0, DB_FORCE), 0);
    });
    EXPECT_EQ(child.waitForExit(), 0);
}

} // namespace
