#include "records/tablecontext.h"

#include "recordlines.h"
#include "records/encoding.h"
#include "support/tableenv.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <string>

namespace {

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

TEST(FindPartition, WithoutAFileIsNullAndCreatesNone)
{
    TableEnv tables;
    BDBIndex* db = tables.index("other");
    for (int round = 0; round < 2; ++round) {
        ASSERT_EQ(tables.context().findPartition(tables.tableName(), 7, &db), 0);
        EXPECT_EQ(db, nullptr);
        EXPECT_FALSE(std::filesystem::exists(tables.directory().file("t_07.db")));
    }
    ASSERT_EQ(tables.context().openPartition(tables.tableName(), 7, &db), 0);
    BDBIndex* const opened = db;
    db = nullptr;
    ASSERT_EQ(tables.context().findPartition(tables.tableName(), 7, &db), 0);
    EXPECT_EQ(db, opened);
    tables.reopen(); // the file is there, but not open
    db = nullptr;
    ASSERT_EQ(tables.context().findPartition(tables.tableName(), 7, &db), 0);
    EXPECT_EQ(db, tables.index("t_07.db", "data"));
}

TEST(FindPartition, OpensWhateverHasThatName)
{
    // A dangling link, as when the disk to which a file was moved is missing, is not an empty partition.
    TableEnv tables;
    std::filesystem::create_symlink("missing/t_07.db", tables.directory().file("t_07.db"));
    BDBIndex* db = nullptr;
    EXPECT_EQ(tables.context().findPartition(tables.tableName(), 7, &db), 12);
    EXPECT_TRUE(std::filesystem::is_symlink(tables.directory().file("t_07.db")));
}

TEST(FindPartition, RefusesWhatOpeningRefuses)
{
    TableEnv tables;
    for (const QByteArray table : {"../t", "t_3f.db", "sub/"}) {
        BDBIndex* db = nullptr;
        EXPECT_EQ(tables.context().findPartition(tables.tableName(table), 7, &db), 12) << table.toStdString();
    }
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

TEST(FindMeta, WithoutAFileIsNullAndCreatesNone)
{
    TableEnv tables;
    BDBIndex* db = tables.index("other");
    for (int round = 0; round < 2; ++round) {
        ASSERT_EQ(tables.context().findMeta(tables.tableName("orders"), &db), 0);
        EXPECT_EQ(db, nullptr);
        EXPECT_FALSE(std::filesystem::exists(tables.directory().file("orders")));
    }
    BDBIndex* opened = nullptr;
    ASSERT_EQ(tables.context().openMeta(tables.tableName("orders"), &opened), 0);
    ASSERT_EQ(tables.context().findMeta(tables.tableName("orders"), &db), 0);
    EXPECT_EQ(db, opened);
    tables.reopen(); // the file is there, but not open
    ASSERT_EQ(tables.context().findMeta(tables.tableName("orders"), &db), 0);
    EXPECT_EQ(db, tables.index("orders", "meta"));
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
