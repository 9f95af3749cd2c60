#include "restorecommandfixture.h"

#include "terminalrun.h"

namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;

} // namespace

TEST_F(RestoreCommand, ReportsWhatItRestoredAndLeavesTheBackupUnchanged)
{
    createTable(tableName("u"));
    createTable(tableName("empty"));
    request("PutItem",
            {{"TableName", tableName("u")}, {"Item", QVariantMap{{"h", textValue("k")}, {"r", textValue("r")}}}});
    for (int i = 0; i < 20; ++i)
        put(QString::number(i), "r", {{"a", textValue("x")}}); // in several files
    EXPECT_EQ(act("StopDbBackup"), accepted());
    ASSERT_TRUE(waitUntil([&] { return act("DbBackup", markedTarget("another")) == accepted(); }));
    ASSERT_TRUE(waitUntilComplete(pathOf("another")));

    const auto before = contentsOf(pathOf("another"));
    const ProgramRun run = restore(pathOf("another"), target());
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.output,
                restoreOutput("empty: 0 items\nt: 22 items\nu: 1 item\n", "3 tables with 23 items", target()));
    EXPECT_EQ(run.error, "") << "quiet where nobody looks";
    EXPECT_EQ(contentsOf(pathOf("another")), before);
}

TEST_F(RestoreCommand, MakesADirectoryThatAServerServes)
{
    put("k", "later", {{"a", textValue("z")}});
    const ProgramRun run = restore(backup(), target() + '/'); // the trailing "/" does not matter
    EXPECT_EQ(run.status, 0) << run.error;
    const Items items = itemsOf(tableIn(target()), {"k"});
    EXPECT_EQ(items,
              (Items{{{"k", "r"}, {{"a", textValue("x")}}}, {{"k", "s"}, {{"a", textValue(QString(5000, 'y'))}}}}));
    const QVariantMap reply = request(
        "PutItem", {{"TableName", tableIn(target())},
                    {"Item", QVariantMap{{"h", textValue("k")}, {"r", textValue("new")}, {"a", textValue("n")}}}});
    EXPECT_EQ(reply.value("__rc"), QVariant(200LL));
    restartServer();
    EXPECT_EQ(itemsOf(tableIn(target()), {"k"}).size(), 3U);
    EXPECT_EQ(itemsOf(tableName(), {"k"}).size(), 3U) << "two environments from here on";
    QVariantMap described = describe(tableIn(target())).value("Table").toMap();
    EXPECT_EQ(described.value("KeySchema"), describe(tableName()).value("Table").toMap().value("KeySchema"));
    EXPECT_THAT(takeComplaints(), IsEmpty());
}

TEST_F(RestoreCommand, FillsAnEmptyDirectoryThatIsThere)
{
    fs::create_directory(target());
    EXPECT_EQ(restore(backup(), target()).status, 0);
    EXPECT_EQ(itemsOf(tableIn(target()), {"k"}).size(), 2U);
}

TEST_F(RestoreCommand, ShowsProgressOnATerminal)
{
    const ProgramRun run = runOnTerminal(QUORVACTL_BINARY, restoreArguments(backup(), target()));
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.output, restoreOutput("t: 2 items\n", "1 table with 2 items", target()));
    EXPECT_THAT(run.error, AllOf(HasSubstr("\r\033[Kcopying 1/3"), HasSubstr("\r\033[Kcopying 3/3"),
                                 HasSubstr("\r\033[Krecovering"), HasSubstr("\r\033[Kverifying 0/2"),
                                 EndsWith("\r\033[Kverifying 2/2\r\n")));

    const ProgramRun failed = runOnTerminal(QUORVACTL_BINARY, restoreArguments(backup(), target()));
    EXPECT_EQ(failed.status, 1);
    EXPECT_EQ(failed.error, "quorvactl: " + target() + " is not empty\r\n");
}

TEST_F(RestoreCommand, RestoresTablesInDirectoriesAndWithNamesLikeThoseOfLogs)
{
    // A directory whose environment is closed is as good as a copy of it.
    const std::string source = makeDirectory("source");
    const std::vector<std::string> names{"sub/t", "sub/deeper/log.1a", "log.events", "log.a1"};
    for (const std::string& name : names) {
        const QString table = QString::fromStdString(source + '|' + name);
        createTable(table);
        request("PutItem", {{"TableName", table}, {"Item", QVariantMap{{"h", textValue("k")}, {"r", textValue("r")}}}});
    }
    EXPECT_EQ(request("DeleteTable", {{"TableName", tableIn(source)}}), okReply());
    writeListOf(source);
    const ProgramRun run = restore(source, target());
    EXPECT_EQ(run.status, 0) << run.error;
    EXPECT_THAT(run.output, restoreOutput("log.a1: 1 item\nlog.events: 1 item\nsub/deeper/log.1a: 1 item\n"
                                          "sub/t: 1 item\n",
                                          "4 tables with 4 items", target()));
    for (const std::string& name : names)
        EXPECT_EQ(itemsOf(QString::fromStdString(target() + '|' + name), {"k"}).size(), 1U) << name;
}

TEST_F(RestoreCommand, WrongCommandLineIsAUsageError)
{
    for (const std::vector<std::string>& arguments :
         std::vector<std::vector<std::string>>{{"restore"},
                                               {"restore", backup()},
                                               {"restore", backup(), target(), "more"},
                                               {"restore", "--fast", "a", "b"}}) {
        const ProgramRun run = runProgram(QUORVACTL_BINARY, arguments);
        EXPECT_EQ(run.status, 64) << testing::PrintToString(arguments);
        EXPECT_EQ(run.output, "");
        EXPECT_THAT(run.error, HasSubstr("Run with --help for more information."));
    }
    EXPECT_FALSE(fs::exists(target()));
}
