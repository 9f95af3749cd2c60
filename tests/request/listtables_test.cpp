#include "listtablesfixture.h"

#include "support/directorycontents.h"

#include <db_cxx.h>

#include <filesystem>
#include <fstream>
#include <string>

#include <sys/stat.h>

namespace {

namespace fs = std::filesystem;
using testing::IsEmpty;

TEST_F(ListTables, AClosedDirectoryIsReadFromItsFilesAndStaysAsItIs)
{
    createTable(tableName("orders"), keySchema("customer", "date"));
    createTable(tableName());
    createTable(tableName("sub/deep/t"));
    ASSERT_EQ(put("k", "1", {{"a", textValue("x")}}).value("__rc"), 200);
    ASSERT_EQ(put("k2", "1", {{"a", textValue(QString(5000, 'x'))}}).value("__rc"), 200);
    close();
    addForeignFiles();
    const auto before = contentsOf(home());

    qlonglong bytes = EmptyTableBytes;
    int files = 1;
    for (const auto& entry : fs::directory_iterator(home())) {
        const std::string name = entry.path().filename().string();
        if (name.starts_with("t_")) {
            bytes += bytesOf(name);
            ++files;
        }
    }
    EXPECT_EQ(files, 3);
    EXPECT_EQ(list(), listed(false, {table("orders", 1, EmptyTableBytes, keySchema("customer", "date")),
                                     table("sub/deep/t", 1, EmptyTableBytes), table("t", files, bytes)}));
    EXPECT_EQ(contentsOf(home()), before);
    EXPECT_THAT(takeComplaints(), IsEmpty());
}

TEST_F(ListTables, AnOpenDirectoryIsListedWithWhatIsNotOnDiskYet)
{
    createTable(tableName());
    EXPECT_EQ(list(), listed(true, {table("t", 1, EmptyTableBytes)}));
    createTable(tableName(), keySchema("other", "keys"));
    EXPECT_EQ(list(), listed(true, {table("t", 1, EmptyTableBytes, keySchema("other", "keys"))}));
    EXPECT_THAT(takeComplaints(), IsEmpty());
}

TEST_F(ListTables, TablesThatAnOpenDirectoryHasNotOpenedAreListedAndStayClosed)
{
    createTable(tableName("a"));
    createTable(tableName("b"), keySchema("x", "y"));
    close();
    EXPECT_EQ(describe(tableName("a")).value("__rc"), 200);
    EXPECT_EQ(list(),
              listed(true, {table("a", 1, EmptyTableBytes), table("b", 1, EmptyTableBytes, keySchema("x", "y"))}));
}

TEST_F(ListTables, ADescriptionThatIsOnlyInTheLogIsMissingUntilTheDirectoryIsOpened)
{
    describe(tableName()); // opens the directory, whose first checkpoint would write the description to its file
    ASSERT_TRUE(server_.waitForLog("Done txn_checkpoint"));
    createTable(tableName());
    restartServer();
    EXPECT_EQ(list(), listed(false, {table("t", 1, EmptyTableBytes, {})}));
    EXPECT_EQ(describe(tableName()).value("__rc"), 200);
    EXPECT_EQ(list(), listed(true, {table("t", 1, EmptyTableBytes)}));
}

TEST_F(ListTables, ADescriptionOfManyPagesIsReadFromItsFile)
{
    const QVariantMap schema = keySchema(QString(20000, u'ä'), "r");
    createTable(tableName(), schema);
    close();
    const QVariantMap listedTable = list().value("Tables").toList().value(0).toMap();
    EXPECT_EQ(listedTable.value("KeySchema"), schema);
    EXPECT_EQ(listedTable.value("Bytes"), bytesOf("t"));
}

TEST_F(ListTables, DirectoriesBelowThatAreEnvironmentsThemselvesAreOmitted)
{
    createTable(tableName());
    const std::string inner = makeDirectory("env/inner");
    createTable(tableIn(inner));
    close();
    ASSERT_EQ(request("DeleteTable", {{"TableName", tableIn(inner)}}), okReply());
    EXPECT_EQ(list(), listed(false, {table("t", 1, EmptyTableBytes)}));
    EXPECT_EQ(list(inner).value("Tables").toList().value(0).toMap().value("TableName"), tableIn(inner));
}

TEST_F(ListTables, DatabasesUnderNamesThatNoTableCanHaveAreOmitted)
{
    createTable(tableName());
    close();
    const std::vector<std::string> names{"__db.001", "log.12", "BackupInProgress.tmp", "\xff\xfe", "a_00.db_00.db"};
    for (const std::string& name : names)
        fs::copy_file(home() + "/t", home() + '/' + name);
    fs::create_directory(home() + "/x_00.db");
    fs::copy_file(home() + "/t", home() + "/x_00.db/t");
    EXPECT_EQ(list(), listed(false, {table("t", 1, EmptyTableBytes)}));
}

TEST_F(ListTables, DatabasesOfOtherProgramsAreOmitted)
{
    Db hash(nullptr, DB_CXX_NO_EXCEPTIONS);
    ASSERT_EQ(hash.open(nullptr, (home() + "/hash").c_str(), nullptr, DB_HASH, DB_CREATE, 0600), 0);
    ASSERT_EQ(hash.close(0), 0);
    Db other(nullptr, DB_CXX_NO_EXCEPTIONS);
    ASSERT_EQ(other.open(nullptr, (home() + "/other").c_str(), "names", DB_BTREE, DB_CREATE, 0600), 0);
    ASSERT_EQ(other.close(0), 0);
    EXPECT_EQ(list(), listed(false, {}));
}

TEST_F(ListTables, DatabasesWhereverDbConfigSaysAreListed)
{
    fs::create_directory(home() + "/data");
    std::ofstream(home() + "/DB_CONFIG") << "set_data_dir data\n";
    createTable(tableName());
    EXPECT_EQ(list(), listed(true, {table("t", 1, EmptyTableBytes)}));
    close();
    EXPECT_EQ(list(), listed(false, {table("t", 1, EmptyTableBytes)}));
}

TEST_F(ListTables, ThousandsOfFilesThatAreNoTablesAreLookedAtOnly)
{
    createTable(tableName());
    close();
    for (int i = 0; i < 1000; ++i) {
        const std::string name = home() + "/x" + std::to_string(i);
        std::ofstream(name) << "text";
        std::ofstream(name + "_00.db") << std::string(100, '\0');
        fs::create_directory(name + ".d");
    }
    ASSERT_EQ(::mkfifo((home() + "/DB_CONFIG").c_str(), 0600), 0);
    EXPECT_EQ(list(), listed(false, {table("t", 1, EmptyTableBytes)}));
    EXPECT_THAT(takeComplaints(), IsEmpty());
}

TEST_F(ListTables, LinksAreFollowedOnceAndCyclesEnd)
{
    createTable(tableName());
    close();
    const std::string elsewhere = makeDirectory("elsewhere");
    fs::rename(home() + "/t", elsewhere + "/t");
    fs::create_directory_symlink(elsewhere, home() + "/link");
    fs::create_directory_symlink(elsewhere, elsewhere + "/cycle");
    fs::create_directory_symlink(home(), home() + "/self");
    EXPECT_EQ(list(), listed(false, {table("link/t", 1, EmptyTableBytes)}));
}

TEST_F(ListTables, AnEmptyDirectoryHasNoTables)
{
    EXPECT_EQ(list(), listed(false, {}));
    EXPECT_EQ(list(home() + "/../env/."),
              okReply({{"Directory", list().value("Directory")}, {"Open", false}, {"Tables", QVariantList()}}));
    EXPECT_THAT(contentsOf(home()), IsEmpty());
}

TEST_F(ListTables, WhatIsNoDirectoryIsRefusedWithAMessageThatSaysSo)
{
    const QString missing = QString::fromStdString(home() + "/miss\"ing");
    EXPECT_EQ(list(missing.toStdString()),
              merged(notFoundReply(), {{"message", "The directory \"" + missing + "\" does not exist."}}));
    for (const std::string name : {"text", "fifo"}) {
        addForeignFiles();
        const std::string path = home() + '/' + name;
        EXPECT_EQ(list(path), merged(notFoundReply(),
                                     {{"message", '"' + QString::fromStdString(path) + "\" is not a directory."}}));
        fs::remove_all(home());
        makeDirectory("env");
    }
    const QString zero = QString::fromStdString(home()) + QChar(0);
    EXPECT_EQ(request("Quorva_1.ListTables", {{"Directory", zero}}),
              merged(notFoundReply(), {{"message", "The directory \"" + zero + "\" does not exist."}}));
    const QVariantMap noParameter =
        merged(invalidRequestReply(), {{"message", "The parameter \"Directory\" is missing."}});
    EXPECT_EQ(request("Quorva_1.ListTables", {}), noParameter);
    EXPECT_EQ(request("Quorva_1.ListTables", {{"Directory", ""}}), noParameter);
    EXPECT_THAT(takeComplaints(), IsEmpty());
    EXPECT_EQ(server_.request("Quorva_1.ListTables", {{"Directory", 17}}).value("__rc"), 400);
}

} // namespace
