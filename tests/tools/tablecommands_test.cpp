#include "support/scriptedserver.h"
#include "toolfixture.h"

#include <fstream>
#include <functional>

namespace {

class TableCommands : public ToolTest {};

/** All commands that read or write items of a table, or request its description. */
std::vector<std::vector<std::string>> itemCommands(const std::string& name)
{
    return {{"describe", name},
            {"get", name, "k", "r"},
            {"put", name, "h=S:k", "r=S:r"},
            {"update", name, "k", "r", "--set", "a=S:1"},
            {"delete", name, "k", "r"},
            {"scan", name},
            {"query", name, "k"},
            {"query", name, "k", "--begins-with", "r", "--backward"},
            {"export", name},
            {"import", name}};
}

} // namespace

TEST_F(TableCommands, CreateTableMakesATable)
{
    expectOutput({"create-table", table("made"), "customer", "date"}, "");
    const QVariantMap description = describe(tableName("made")).value("Table").toMap();
    EXPECT_EQ(description.value("KeySchema").toMap(), keySchema("customer", "date"));
    EXPECT_EQ(description.value("ProvisionedThroughput").toMap(), QVariantMap());
    expectOutput({"describe", table("made")},
                 "table      " + table("made") + "\nhash key   customer\nrange key  date\n");
}

TEST_F(TableCommands, CreateTableLeavesATableThatExistsAlone)
{
    put("k", "r", {{"a", textValue("x")}});
    expectFailure({"create-table", table(), "x", "y"}, ErrorReply,
                  "quorvactl: the table " + table() +
                      " exists already, with the key attributes \"h\" and \"r\"\n"
                      "  try: --replace, to give it other key attributes; its items stay\n");
    expectOutput({"describe", table()}, "table      " + table() + "\nhash key   h\nrange key  r\n");
    expectOutput({"create-table", table(), "x", "y", "--replace"}, "");
    expectOutput({"get", table(), "k", "r"}, "{\"a\":{\"S\":\"x\"},\"x\":{\"S\":\"k\"},\"y\":{\"S\":\"r\"}}\n");
}

TEST_F(TableCommands, CreateTableRefusesNamesThatAreNone)
{
    for (const auto& [hash, range] : std::vector<std::pair<std::string, std::string>>{{"a", "a"}, {"", "a"}, {"a", ""}})
        expectFailure({"create-table", table("made"), hash, range}, Usage,
                      "quorvactl: the two key attributes need different names that are not empty\n");
    expectFailure({"create-table", table("made"), "\xff", "a"}, Usage, "quorvactl: HASHNAME is not UTF-8\n");
    expectFailure({"create-table", table("made"), "a", "\xff"}, Usage, "quorvactl: RANGENAME is not UTF-8\n");
}

TEST_F(TableCommands, CreateTableNeedsItsDirectory)
{
    for (const std::vector<std::string>& more : std::vector<std::vector<std::string>>{{}, {"--replace"}}) {
        std::vector<std::string> words{"create-table", pathOf("none") + "|t", "a", "b"};
        words.insert(words.end(), more.begin(), more.end());
        expectFailure(words, ErrorReply,
                      Complaints::noDirectory("cannot create the table " + pathOf("none") + "|t", pathOf("none")));
    }
}

TEST_F(TableCommands, ADirectoryThatCannotBeOpenedIsDistinguishedFromAMissingTable)
{
    const std::string none = pathOf("none");
    const std::string file = writeFile("file", "text");
    const std::string damaged = makeDirectory("damaged");
    std::ofstream(damaged + "/DB_CONFIG") << "no such setting\n";
    const std::string held = makeDirectory("held");
    ServerProcess second;
    ASSERT_TRUE(second.start());
    second.request("UpdateTable", {{"TableName", tableIn(held)}}); // which opens the directory

    using Complaint = std::function<std::string(const std::string& failed)>;
    const std::vector<std::pair<std::string, Complaint>> cases{
        {none, [&](const std::string& failed) { return Complaints::noDirectory(failed, none); }},
        {file,
         [&](const std::string& failed) {
             return Complaints::errorReply(failed + ": " + file + " is not a directory", Complaints::NotFound,
                                           "the spelling");
         }},
        {damaged, [&](const std::string& failed) { return Complaints::unopenedDirectory(failed, damaged); }},
        {held, [&](const std::string& failed) { return Complaints::unopenedDirectory(failed, held); }},
        {"none/of/these",
         [&](const std::string& failed) { return Complaints::unopenedRelativeDirectory(failed, "none/of/these"); }},
        {"",
         [&](const std::string& failed) {
             return Complaints::errorReply(failed + ": its name has no directory", Complaints::NotFound,
                                           "DIRECTORY|TABLE");
         }},
    };
    for (const auto& [directory, complaint] : cases) {
        const std::string name = directory + "|t";
        const std::string found = complaint("cannot find the table " + name);
        for (const std::vector<std::string>& words : itemCommands(name))
            expectFailure(words, ErrorReply, found);
        expectFailure({"create-table", name, "h", "r"}, ErrorReply, complaint("cannot create the table " + name));
        expectFailure({"flush", name}, ErrorReply, complaint("cannot flush " + name));
        expectFailure({"backup", "stop", name}, ErrorReply, complaint("cannot stop the backup of " + name));
    }

    second.kill();
    EXPECT_EQ(second.waitForExit(), -SIGKILL);
    expectFailure({"describe", held + "|t"}, ErrorReply, Complaints::notFound("there is no table " + held + "|t"));
}

TEST_F(TableCommands, ATableWhoseKeysCannotBeUsedIsNoMissingTable)
{
    createTable(tableName("odd"), {{"HashKeyElement", schemaElement("h")}});
    const std::string complaint =
        Complaints::errorReply("the table " + table("odd") + " has no usable key attributes", Complaints::NotFound,
                               "quorvactl create-table --replace, to give it others");
    expectFailure({"describe", table("odd")}, ErrorReply, complaint);
    expectFailure({"get", table("odd"), "k", "r"}, ErrorReply, complaint);
    expectFailure({"scan", table("odd")}, ErrorReply, complaint);
    expectOutput({"create-table", table("odd"), "h", "r", "--replace"}, "");
    expectOutput({"scan", table("odd")}, "");
}

TEST_F(TableCommands, ANameThatNoTableCanHaveIsRefusedBeforeAnythingIsSent)
{
    killServer(); // anything sent would get no reply
    const std::string berkeleyDb =
        "DB_CONFIG, \"log.\" with digits, and names that begin with \"__db\" belong to Berkeley DB";
    const std::vector<std::pair<std::string, std::string>> cases{
        {home() + '|', "the table's name is empty"},
        {home() + '/', "the table's name is empty"},
        {table("../other/t"), "the table's name has a component \".\" or \"..\""},
        {table("/tmp/t"), "the table's name is an absolute path"},
        {table("sub/"), "the table's name has an empty component (\"//\", or \"/\" at its end)"},
        {table("DB_CONFIG"), berkeleyDb},
        {table("log.0000000050"), berkeleyDb},
        {table("__db.001"), berkeleyDb},
        {table("BackupInProgress.tmp"), "BackupInProgress.tmp, BackupFiles.list (also with .tmp or .new), "
                                        "BackupLog.hold (also with .new) and __log__ belong to backups"},
        {table("t_7b.db"), "names that end like \"_3f.db\" belong to the data files of tables"},
    };
    for (const auto& [name, reason] : cases) {
        const std::string complaint = "quorvactl: no table can be called " + name + ": " + reason + '\n';
        expectFailure({"create-table", name, "h", "r"}, ErrorReply, complaint);
        expectFailure({"create-table", name, "h", "r", "--replace"}, ErrorReply, complaint);
        for (const std::vector<std::string>& words : itemCommands(name))
            expectFailure(words, ErrorReply, complaint);
        // These concern only the environment, so the server accepts them.
        expectFailure({"flush", name}, NoReply, Complaints::noServer(server_.port()));
        expectFailure({"delete-table", name}, NoReply, Complaints::noServer(server_.port()));
    }
}

TEST_F(TableCommands, DescribePrintsKeysOrTheWholeDescription)
{
    expectOutput({"describe", table()}, "table      " + table() + "\nhash key   h\nrange key  r\n");
    const QVariantMap description = describe(tableName()).value("Table").toMap();
    expectOutput({"describe", table(), "--json"}, Json::serialize(description).toStdString() + '\n');
    expectFailure({"describe", table("none")}, ErrorReply, Complaints::notFound("there is no table " + table("none")));
}

TEST_F(TableCommands, DeleteTableClosesTheDirectoryAndSaysSo)
{
    put("k", "r", {{"a", textValue("x")}});
    expectOutput({"delete-table", table()}, "closed " + home() + "; its files are still there\n");
    EXPECT_TRUE(std::filesystem::exists(home() + "/t"));
    expectOutput({"get", table(), "k", "r"}, "{\"a\":{\"S\":\"x\"},\"h\":{\"S\":\"k\"},\"r\":{\"S\":\"r\"}}\n");
}

TEST_F(TableCommands, WithoutAServerNothingIsDone)
{
    killServer();
    for (const std::vector<std::string>& words :
         std::vector<std::vector<std::string>>{{"create-table", table("made"), "a", "b"},
                                               {"create-table", table("made"), "a", "b", "--replace"},
                                               {"describe", table()},
                                               {"delete-table", table()}})
        expectFailure(words, NoReply, Complaints::noServer(server_.port()));
}

TEST(TableCommandsOfAServerThatFails, TellWhatItSaid)
{
    const ReplyingServer server([](const QByteArray&, const QByteArray&) {
        return QByteArray("{\"__rc\":400,\"__rcstr\":\"Bad Request\",\"__type\":\"InternalServerError\","
                          "\"message\":\"The server encountered an internal error.\"}");
    });
    const auto run = [&](const std::vector<std::string>& words) {
        const ProgramRun done = quorvactl(addressed(server.port(), words));
        EXPECT_EQ(done.status, ErrorReply);
        EXPECT_EQ(done.output, "");
        return done.error;
    };
    EXPECT_EQ(run({"describe", "d|t"}), Complaints::internalError("cannot describe the table d|t"));
    EXPECT_EQ(run({"create-table", "d|t", "a", "b"}), Complaints::internalError("cannot create the table d|t"));
    EXPECT_EQ(run({"delete-table", "d|t"}), Complaints::internalError("cannot close d"));
    EXPECT_EQ(run({"scan", "d|t"}), Complaints::internalError("cannot read the table d|t"));
    EXPECT_EQ(run({"flush", "d|t"}), Complaints::internalError("cannot flush d|t"));
}

TEST(TableCommandsOfAServerThatFails, TellThatTheReplyIsNone)
{
    const ReplyingServer garbled([](const QByteArray&, const QByteArray&) { return QByteArray("{"); });
    const ProgramRun done = quorvactl(addressed(garbled.port(), {"describe", "d|t"}));
    EXPECT_EQ(done.status, NoReply);
    EXPECT_EQ(done.output, "");
    EXPECT_EQ(done.error, Complaints::noReply(garbled.port(), "the reply is not valid JSON"));

    const ReplyingServer other([](const QByteArray&, const QByteArray&) { return QByteArray("{\"a\":1}"); });
    const ProgramRun odd = quorvactl(addressed(other.port(), {"describe", "d|t"}));
    EXPECT_EQ(odd.status, ErrorReply);
    EXPECT_EQ(odd.error, Complaints::errorReply("cannot describe the table d|t", "{\"a\":1}", ""));
}
