#include "outputline.h"
#include "support/samplestatus.h"
#include "support/scriptedserver.h"
#include "toolfixture.h"
#include "json/jsonreader.h"

#include <gmock/gmock.h>

#include <string>

namespace {

using testing::HasSubstr;
using testing::MatchesRegex;

class StatusCommand : public ToolTest {};

} // namespace

TEST_F(StatusCommand, ShowsWhatWasDone)
{
    for (const char* range : {"1", "2", "3"})
        expectOutput({"put", table(), "h=S:a", std::string("r=S:") + range}, "");
    expectFailure({"get", table(), "a", "4"}, ErrorReply,
                  "quorvactl: there is no item \"a\" \"4\" in " + table() + "\n");
    const ProgramRun run = quorvactl({"status"});
    EXPECT_EQ(run.status, Ok);
    EXPECT_EQ(run.error, "");
    EXPECT_THAT(lineOf(run.output, "server "), HasSubstr(", process " + std::to_string(server_.pid())));
    EXPECT_THAT(lineOf(run.output, "server "), HasSubstr(" at 127.0.0.1:" + std::to_string(server_.port())));
    EXPECT_THAT(lineOf(run.output, "PutItem "), MatchesRegex("PutItem +Success +3 .* [mu]?s"));
    EXPECT_THAT(lineOf(run.output, "CreateTable "), MatchesRegex("CreateTable +Success +1 .* [mu]?s"));
}

TEST_F(StatusCommand, ShowsTheOpenEnvironments)
{
    expectOutput({"put", table(), "h=S:a", "r=S:1"}, "");
    const ProgramRun run = quorvactl({"status"});
    EXPECT_THAT(lineOf(run.output, "environment "), testing::EndsWith("  " + home()));
    EXPECT_EQ(lineOf(run.output, "  tables "), "  tables     1 open: t; 2 files");
    EXPECT_EQ(lineOf(run.output, "  backup "), "  backup     none");
    EXPECT_THAT(lineOf(run.output, "  commits "), MatchesRegex("  commits +[1-9].*"));
    ASSERT_EQ(quorvactl({"delete-table", table()}).status, Ok);
    EXPECT_THAT(quorvactl({"status"}).output, HasSubstr("\nno environment is open\n"));
}

TEST_F(StatusCommand, JsonIsTheServersObject)
{
    const ProgramRun run = quorvactl({"status", "--json"});
    EXPECT_EQ(run.status, Ok);
    QVariant parsed;
    ASSERT_TRUE(Json::parse(QByteArray::fromStdString(run.output), &parsed)) << run.output;
    const QVariantMap status = parsed.toMap();
    EXPECT_EQ(status.value("Server").toMap().value("ProcessId").toLongLong(), server_.pid());
    EXPECT_FALSE(status.contains("__rc"));
}

TEST(StatusText, HasEveryFigure)
{
    ReplyingServer server([](const QByteArray&, const QByteArray&) { return SampleStatus; });
    const ProgramRun run = quorvactl(addressed(server.port(), {"status"}));
    EXPECT_EQ(run.status, Ok);
    EXPECT_EQ(run.error, "");
    EXPECT_EQ(
        run.output,
        "server       quorva 2.4.0 at 127.0.0.1:" + std::to_string(server.port()) + ", process 4711\n" +
            "up           1 min 40 s, since " + localDate(1795356721) + "\n" +
            "options      -w 2 -m 128 -s 4 -n -d /log/q QUORVA_ALLOW_USERS=shop,root QUORVA_SLOW_MS=100\n"
            "process      120.0 MiB of memory, 13 s of processor time, 812 of 1048576 descriptors\n"
            "connections  3 open, 40 accepted, 5 refused\n"
            "traffic      1.0 MiB received, 1.5 KiB sent\n"
            "requests     4 running, 7 queued, 8 waiting for the log to be on disk\n"
            "threads      1 of 2 workers busy, 6 in the pool\n"
            "\n"
            "OPERATION  OUTCOME                          COUNT    MEAN     P50     P99     MAX\n"
            "PutItem    Success                            100  200 us   50 us     1 s  longer\n"
            "PutItem    ConditionalCheckFailedException      2   45 us   50 us   50 us   50 us\n"
            "Query      Success                              4    2 ms  2.5 ms  2.5 ms  2.5 ms\n"
            "\n"
            "environment  /srv/shop\n"
            "  tables     2 open: customers, orders; 300 files\n"
            "  cache      16.0 MiB, 4000 pages, 12 of them dirty; 99.0 % hits of 1000\n"
            "  locks      21 waits, 3 deadlocks\n"
            "  log        40.0 MiB in 4 files, at byte 65536 of file 17\n"
            "  commits    500, 2.5 a flush; 200 flushes, 6 aborts\n"
            "  checkpoint " +
            localDate(1795356780) + "\n" + "  backup     shipping to /backup/shop, since " + localDate(1795356730) +
            ", holds all until " + localDate(1795356810) + "\n" +
            "\n"
            "environment  /srv/a \"b\\c\\nd\n"
            "  tables     0 open; 0 files\n"
            "  cache      16.0 MiB, 0 pages, 0 of them dirty; - hits of 0\n"
            "  locks      0 waits, 0 deadlocks\n"
            "  log        28 B in 1 file, at byte 28 of file 1\n"
            "  commits    0, - a flush; 0 flushes, 0 aborts\n"
            "  checkpoint -\n"
            "  backup     none; all log files are kept for /backup/held since " +
            localDate(1795356720) +
            "\n  disk       failed to sync a file: writes are refused until the server is restarted\n"
            "\n"
            "SLOW REQUEST          TOTAL  QUEUE   LOCKS   DISK   FLUSH  ITEMS  RETRIES  OPERATION  TABLE        "
            "KEYS        "
            "PEER\n" +
            localDate(1795356800) +
            "  150 ms   7 ms  100 ms  20 ms    3 ms    128        2  Query      shop|orders  abc         "
            "127.0.0.1:51234\n" +
            localDate(1795356790) +
            "  900 ms   0 ms    0 ms   0 ms  890 ms      1        0  PutItem    shop|orders  k\\u001b[2J  "
            "127.0.0.1:51235\n"
            "\n"
            "FAILED REQUEST       OPERATION      OUTCOME                    RESULT  TABLE        KEYS              "
            "PEER\n" +
            localDate(1795356799) +
            "  GetItem        InternalServerError            12  shop|orders  \"k\\u001b[2J\" \"1\"  "
            "127.0.0.1:51236\n" +
            localDate(1795356791) +
            "  DescribeTable  ResourceNotFoundException       3  shop|order                     127.0.0.1:51237\n"
            "and 17 before them\n");
}

TEST(StatusText, OfAnIdleServerSaysSo)
{
    ReplyingServer server([](const QByteArray&, const QByteArray&) {
        return QByteArray(
            R"({"Server":{"Version":"2.4.0","ProcessId":1},"Environments":[],"__rc":200,"__rcstr":"OK"})");
    });
    const ProgramRun run = quorvactl(addressed(server.port(), {"status"}));
    EXPECT_THAT(run.output, HasSubstr("\n\nno environment is open\n"));
    EXPECT_THAT(run.output, HasSubstr("\n\nslow requests are not recorded; "));
    EXPECT_THAT(run.output, testing::EndsWith("\n\nno request has failed\n"));
}

TEST(StatusText, ServerThatDoesNotKnowTheOperationIsOlder)
{
    ReplyingServer server([](const QByteArray&, const QByteArray&) {
        return QByteArray(R"({"__rc":400,"__rcstr":"Bad Request","__type":"InternalServerError","message":"m."})");
    });
    const ProgramRun run = quorvactl(addressed(server.port(), {"status"}));
    EXPECT_EQ(run.status, ErrorReply);
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(run.error, "quorvactl: cannot read the server's status\n"
                         "  the server says: Bad Request, InternalServerError: m.\n"
                         "  try: a server of the same version as quorvactl; older ones do not know this operation\n");
}

TEST(StatusRefused, SaysThatTheUserMayNotBeAllowed)
{
    ServerProcess::Setup setup;
    setup.environment["QUORVA_ALLOW_USERS"] = "40001"; // nobody who runs tests
    ServerProcess server(setup);
    ASSERT_TRUE(server.start());
    const ProgramRun run = quorvactl(addressed(server.port(), {"status"}));
    EXPECT_EQ(run.status, NoReply);
    EXPECT_THAT(run.error,
                testing::EndsWith("\n  try: the server's log; it closes the connections of users who are not in its "
                                  "QUORVA_ALLOW_USERS, and those with a request that is not valid JSON\n"));
}
