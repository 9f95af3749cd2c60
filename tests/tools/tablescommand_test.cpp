#include "support/directorycontents.h"
#include "support/scriptedserver.h"
#include "toolfixture.h"
#include "json/jsonreader.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <string>

namespace {

using testing::MatchesRegex;
using testing::StartsWith;

class TablesCommand : public ToolTest {
protected:
    /** The bytes of the files in the environment's directory whose names begin with this. */
    std::uintmax_t bytesOf(const std::string& table) const { return bytesIn(home(), table); }

    std::string cannotList(const std::string& directory, const std::string& says) const
    {
        return "quorvactl: cannot list the tables in " + directory +
               "\n  the server says: Not Found, "
               "ResourceNotFoundException: " +
               says + "\n  try: another spelling; a relative DIR begins in the server's working directory\n";
    }
};

} // namespace

TEST_F(TablesCommand, ListsEachTableWithItsKeysFilesAndBytes)
{
    ASSERT_EQ(quorvactl({"create-table", table("orders"), "customer", "date"}).status, Ok);
    ASSERT_EQ(quorvactl({"put", table("orders"), "customer=S:a", "date=S:1"}).status, Ok);
    ASSERT_EQ(quorvactl({"flush", table("orders")}).status, Ok);
    const ProgramRun run = quorvactl({"tables", home()});
    EXPECT_EQ(run.status, Ok);
    EXPECT_EQ(run.error, "");
    EXPECT_THAT(run.output, MatchesRegex("TABLE +HASH KEY  RANGE KEY  FILES +ON DISK\n"
                                         "[^\n]*.orders  customer  date           2  +[0-9.]+ [KM]iB\n"
                                         "[^\n]*.t       h         r              1  +[0-9.]+ [KM]iB\n"));
    EXPECT_THAT(run.output, testing::HasSubstr('\n' + table("orders") + "  "));
}

TEST_F(TablesCommand, JsonIsTheServersObjectWithTheExactBytes)
{
    ASSERT_EQ(quorvactl({"put", table(), "h=S:a", "r=S:1"}).status, Ok);
    const ProgramRun run = quorvactl({"tables", "--json", home()});
    EXPECT_EQ(run.status, Ok);
    QVariant parsed;
    ASSERT_TRUE(Json::parse(QByteArray::fromStdString(run.output), &parsed)) << run.output;
    const QVariantMap reply = parsed.toMap();
    EXPECT_FALSE(reply.contains("__rc"));
    EXPECT_EQ(reply.value("Open").toBool(), true);
    const QVariantMap listed = reply.value("Tables").toList().value(0).toMap();
    EXPECT_EQ(listed.value("TableName").toString().toStdString(), table());
    EXPECT_EQ(listed.value("Files").toLongLong(), 2);
    EXPECT_EQ(listed.value("Bytes").toULongLong(), bytesOf("t"));
}

TEST_F(TablesCommand, DirectoryThatIsClosedIsListedAndStaysClosed)
{
    ASSERT_EQ(quorvactl({"put", table(), "h=S:a", "r=S:1"}).status, Ok);
    ASSERT_EQ(quorvactl({"delete-table", table()}).status, Ok);
    const ProgramRun run = quorvactl({"tables", home()});
    EXPECT_EQ(run.status, Ok);
    EXPECT_THAT(run.output, testing::HasSubstr("|t  h         r              2  "));
    EXPECT_THAT(quorvactl({"status"}).output, testing::HasSubstr("no environment is open\n"));
}

TEST_F(TablesCommand, EmptyDirectoryHasNoTables)
{
    const std::string empty = server_.makeDirectory("empty");
    expectOutput({"tables", empty}, "there are no tables in " + empty + '\n');
}

TEST_F(TablesCommand, DirectoryThatIsNotThereIsNamed)
{
    expectFailure({"tables", home() + "/none"}, ErrorReply,
                  cannotList(home() + "/none", "The directory \"" + home() + "/none\" does not exist."));
    const std::string file = writeFile("file", "");
    expectFailure({"tables", file}, ErrorReply, cannotList(file, '"' + file + "\" is not a directory."));
}

TEST(TablesReply, WithoutDescriptionHasNoKeysAndUnreadableFilesAreReported)
{
    ReplyingServer server([](const QByteArray& operation, const QByteArray& body) {
        EXPECT_EQ(operation, "Quorva_1.ListTables");
        EXPECT_EQ(body, R"({"Directory":"d"})");
        return QByteArray(R"({"Directory":"/d","Open":false,"Unreadable":2,)"
                          R"("Tables":[{"TableName":"d|a\u001b[2J","Files":1,"Bytes":512}],)"
                          R"("NotCreated":[{"TableName":"d|typo","Files":1,"Bytes":8192}],"__rc":200,"__rcstr":"OK"})");
    });
    const ProgramRun run = quorvactl(addressed(server.port(), {"tables", "d"}));
    EXPECT_EQ(run.status, ErrorReply);
    EXPECT_EQ(run.output, "TABLE         HASH KEY         RANGE KEY  FILES  ON DISK\n"
                          "d|a\\u001b[2J  -                -              1    512 B\n"
                          "d|typo        (never created)                 1  8.0 KiB\n");
    EXPECT_EQ(run.error, "quorvactl: the list may be incomplete: the server cannot read 2 files in d\n"
                         "  try: give the server's user access to all files in it\n");
}
