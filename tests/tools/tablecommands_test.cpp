#include "support/scriptedserver.h"
#include "toolfixture.h"

namespace {

class TableCommands : public ToolTest {};

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
                  "quorvactl: there is a table " + table() +
                      " already, with the keys \"h\" and \"r\"\n"
                      "  try: --replace, if it is to have other key attributes; its items stay\n");
    expectOutput({"describe", table()}, "table      " + table() + "\nhash key   h\nrange key  r\n");
    expectOutput({"create-table", table(), "x", "y", "--replace"}, "");
    expectOutput({"get", table(), "k", "r"}, "{\"a\":{\"S\":\"x\"},\"x\":{\"S\":\"k\"},\"y\":{\"S\":\"r\"}}\n");
}

TEST_F(TableCommands, CreateTableRefusesNamesThatAreNone)
{
    for (const auto& [hash, range] : std::vector<std::pair<std::string, std::string>>{{"a", "a"}, {"", "a"}, {"a", ""}})
        expectFailure({"create-table", table("made"), hash, range}, Usage,
                      "quorvactl: the two key attributes need different names\n");
    expectFailure({"create-table", table("made"), "\xff", "a"}, Usage, "quorvactl: HASHNAME is not UTF-8\n");
    expectFailure({"create-table", table("made"), "a", "\xff"}, Usage, "quorvactl: RANGENAME is not UTF-8\n");
}

TEST_F(TableCommands, CreateTableNeedsItsDirectory)
{
    for (const std::vector<std::string>& more : std::vector<std::vector<std::string>>{{}, {"--replace"}}) {
        std::vector<std::string> words{"create-table", pathOf("none") + "|t", "a", "b"};
        words.insert(words.end(), more.begin(), more.end());
        expectFailure(words, ErrorReply,
                      Complaints::errorReply("cannot make the table " + pathOf("none") + "|t", Complaints::NotFound,
                                             "mkdir -p '" + pathOf("none") +
                                                 "' on the server's machine; a relative directory is relative to where "
                                                 "the server was started"));
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
    const auto run = [&](std::vector<std::string> words) {
        words.insert(words.begin(), {"--port", std::to_string(server.port())});
        const ProgramRun done = runProgram(QUORVACTL_BINARY, words);
        EXPECT_EQ(done.status, ErrorReply);
        EXPECT_EQ(done.output, "");
        return done.error;
    };
    EXPECT_EQ(run({"describe", "d|t"}), Complaints::internalError("cannot describe the table d|t"));
    EXPECT_EQ(run({"create-table", "d|t", "a", "b"}), Complaints::internalError("cannot make the table d|t"));
    EXPECT_EQ(run({"delete-table", "d|t"}), Complaints::internalError("cannot close d"));
    EXPECT_EQ(run({"scan", "d|t"}), Complaints::internalError("cannot read the table d|t"));
    EXPECT_EQ(run({"flush", "d|t"}), Complaints::internalError("cannot flush d|t"));
}

TEST(TableCommandsOfAServerThatFails, TellThatTheReplyIsNone)
{
    const ReplyingServer garbled([](const QByteArray&, const QByteArray&) { return QByteArray("{"); });
    const ProgramRun done = runProgram(QUORVACTL_BINARY, {"--port", std::to_string(garbled.port()), "describe", "d|t"});
    EXPECT_EQ(done.status, NoReply);
    EXPECT_EQ(done.output, "");
    EXPECT_EQ(done.error, Complaints::noReply(garbled.port(), "what came is no JSON"));

    const ReplyingServer other([](const QByteArray&, const QByteArray&) { return QByteArray("{\"a\":1}"); });
    const ProgramRun odd = runProgram(QUORVACTL_BINARY, {"--port", std::to_string(other.port()), "describe", "d|t"});
    EXPECT_EQ(odd.status, ErrorReply);
    EXPECT_EQ(odd.error, Complaints::errorReply("cannot describe the table d|t", "{\"a\":1}", ""));
}
