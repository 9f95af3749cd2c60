#include "complaints.h"
#include "exitstatus.h"
#include "toolfixture.h"

#include "client/wireconnection.h"
#include "protocol/endpoint.h"
#include "support/heldport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <vector>

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::MatchesRegex;

constexpr const char* OkReply = "{\"__rc\":200,\"__rcstr\":\"OK\"}\n";
constexpr const char* InternalErrorReply =
    "{\"__rc\":400,\"__rcstr\":\"Bad Request\",\"__type\":\"InternalServerError\","
    "\"message\":\"The server encountered an internal error.\"}\n";

/** With a running server. */
class Quorvactl : public testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(server_.start()); }

    ProgramRun run(const std::vector<std::string>& arguments, const ProgramFiles& files = {}) const
    {
        return quorvactl(addressed(server_.port(), arguments), files);
    }

    ServerProcess server_;
    const TempDir directory_;
};

} // namespace

TEST_F(Quorvactl, SuccessPrintsTheReplyAndExitsWithZero)
{
    const ProgramRun done = run({"DeleteTable", "{\"TableName\":\"/none|t\"}"});
    EXPECT_EQ(done.status, Ok);
    EXPECT_EQ(done.output, OkReply);
    EXPECT_EQ(done.error, "");
}

TEST_F(Quorvactl, ErrorReplyIsPrintedAndExitsWithOne)
{
    const ProgramRun done = run({"Unknown"});
    EXPECT_EQ(done.status, ErrorReply);
    EXPECT_EQ(done.output, InternalErrorReply);
    EXPECT_EQ(done.error, "");
}

TEST_F(Quorvactl, ShortNamesGetTheApiPrefixAndFullOnesStay)
{
    EXPECT_EQ(run({"Short"}).status, ErrorReply);
    EXPECT_TRUE(server_.waitForLog("] bdbrequest 120 Unknown request opcode is DynamoDB_20111205.Short\n"));
    EXPECT_EQ(run({"Other_1.Full"}).status, ErrorReply);
    EXPECT_TRUE(server_.waitForLog("] bdbrequest 120 Unknown request opcode is Other_1.Full\n"));
    EXPECT_EQ(run({"DynamoDB_20111205.DeleteTable"}).status, Ok);
}

TEST_F(Quorvactl, BodyComesFromTheArgument)
{
    const std::string missing = directory_.file("from the argument");
    const ProgramRun done = run({"DescribeTable", "{\"TableName\": \"" + missing + "|t\"}"});
    EXPECT_EQ(done.status, ErrorReply);
    EXPECT_THAT(done.output, HasSubstr("ResourceNotFoundException"));
    EXPECT_THAT(server_.logText(), HasSubstr("path " + missing + " does not exist "));
}

TEST_F(Quorvactl, DashTakesTheBodyFromStandardInput)
{
    const std::string missing = directory_.file("from standard input");
    const std::string input = directory_.file("input");
    // Larger than any buffer on the way, with newlines, which JSON allows.
    std::ofstream(input) << "{\"TableName\":\n\"" << missing << "|t\",\"Padding\":\"" << std::string(3000000, 'x')
                         << "\"}\n";
    const ProgramRun done = run({"DescribeTable", "-"}, {.input = input});
    EXPECT_EQ(done.status, ErrorReply);
    EXPECT_THAT(done.output, HasSubstr("ResourceNotFoundException"));
    EXPECT_THAT(server_.logText(), HasSubstr("path " + missing + " does not exist "));
}

TEST_F(Quorvactl, NoBodyIsAnEmptyObject)
{
    EXPECT_EQ(run({"DeleteTable"}).output, OkReply);
    EXPECT_EQ(run({"DeleteTable", "{}"}).output, OkReply);
}

TEST_F(Quorvactl, BodyThatLooksLikeAnOptionFollowsTwoDashes)
{
    const ProgramRun done = run({"DeleteTable", "--", "-5"}); // JSON, but not an object
    EXPECT_EQ(done.status, Ok);
    EXPECT_EQ(done.output, OkReply);
}

TEST_F(Quorvactl, ListsArePassedAsTheyAre)
{
    EXPECT_EQ(run({"DeleteTable", "[1,2]"}).output, OkReply);
    EXPECT_EQ(run({"DeleteTable", "[]"}).output, OkReply);
}

TEST_F(Quorvactl, OptionsMayFollowTheOperation)
{
    EXPECT_EQ(quorvactl({"DeleteTable", "--host=127.0.0.1", "--port=" + std::to_string(server_.port())}).output,
              OkReply);
}

TEST_F(Quorvactl, BodyThatIsNoJsonGetsNoReply)
{
    for (const char* body : {"{", "", "{} {}"}) {
        const ProgramRun done = run({"DeleteTable", body});
        EXPECT_EQ(done.status, NoReply) << body;
        EXPECT_EQ(done.output, "") << body;
        EXPECT_EQ(done.error, Complaints::connectionClosed(server_.port())) << body;
    }
    // Nor is an empty standard input JSON.
    EXPECT_EQ(run({"DeleteTable", "-"}).status, NoReply);
}

TEST_F(Quorvactl, StandardInputThatCannotBeReadIsReported)
{
    const ProgramRun done = run({"DeleteTable", "-"}, {.input = directory_.path()});
    EXPECT_EQ(done.status, NoReply);
    EXPECT_EQ(done.output, "");
    EXPECT_EQ(done.error, "quorvactl: cannot read standard input\n");
}

TEST_F(Quorvactl, ReplyThatCannotBePrintedIsReported)
{
    const ProgramRun done = run({"DeleteTable"}, {.output = "/dev/full"});
    EXPECT_EQ(done.status, NoReply);
    EXPECT_EQ(done.error, "quorvactl: cannot write standard output\n");
}

TEST_F(Quorvactl, TableIsCreatedAndDescribed)
{
    const std::string name = server_.makeDirectory("home") + "|t";
    const std::string body = "{\"TableName\":\"" + name +
                             "\",\"KeySchema\":{\"HashKeyElement\":{\"AttributeName\":\"h\",\"AttributeType\":\"S\"},"
                             "\"RangeKeyElement\":{\"AttributeName\":\"r\",\"AttributeType\":\"S\"}}}";
    const ProgramRun created = run({"CreateTable", body});
    EXPECT_EQ(created.status, Ok) << created.output << server_.logText();
    EXPECT_THAT(created.output, HasSubstr("\"TableStatus\":\"ACTIVE\""));
    const ProgramRun described = run({"DescribeTable", "{\"TableName\":\"" + name + "\"}"});
    EXPECT_EQ(described.status, Ok) << described.output << server_.logText();
    EXPECT_THAT(described.output, HasSubstr("\"CreationDateTime\":123456"));
}

TEST(QuorvactlWithoutServer, ReportsThatNobodyListens)
{
    const HeldPort port;
    const ProgramRun done = quorvactl(addressed(port.number(), {"DeleteTable"}));
    EXPECT_EQ(done.status, NoReply);
    EXPECT_EQ(done.output, "");
    EXPECT_EQ(done.error, Complaints::noServer(port.number()));
}

TEST(QuorvactlWithoutServer, GivesUpAServerThatDoesNotAnswerInTime)
{
    const HeldPort port;
    port.listen(1);
    const ProgramRun done = quorvactl(addressed(port.number(), {"--timeout", "1", "DeleteTable", "{}"}));
    EXPECT_EQ(done.status, NoReply);
    EXPECT_EQ(done.output, "");
    EXPECT_EQ(done.error, Complaints::late(port.number()));

    const ProgramRun query = quorvactl(addressed(port.number(), {"query", "d|t", "h", "--timeout=1"}));
    EXPECT_EQ(query.status, NoReply);
    EXPECT_EQ(query.error, Complaints::late(port.number()));
}

TEST(QuorvactlWithoutServer, GivesUpAServerThatTakesNoConnectionInTime)
{
    const HeldPort port;
    port.listen(0); // room for one connection, which nobody accepts
    Client::WireConnection first;
    ASSERT_TRUE(first.open(Endpoint::Host, port.number()));
    const ProgramRun done = quorvactl(addressed(port.number(), {"--timeout", "1", "flush", "d|t"}));
    EXPECT_EQ(done.status, NoReply);
    EXPECT_EQ(done.output, "");
    EXPECT_EQ(done.error, Complaints::unconnected(port.number()));
}

TEST(QuorvactlWithoutServer, HostMustBeAnAddress)
{
    const ProgramRun done = quorvactl({"--host", "example", "--port", "1", "DeleteTable"});
    EXPECT_EQ(done.status, Usage);
    EXPECT_EQ(done.output, "");
    EXPECT_THAT(done.error, testing::HasSubstr("--host: Invalid IPV4 address must have four parts (example)\n"));
}

TEST(QuorvactlWithoutServer, LocalhostIsTheLoopbackAddress)
{
    const HeldPort port;
    const ProgramRun done = quorvactl({"--host", "localhost", "--port", std::to_string(port.number()), "DeleteTable"});
    EXPECT_EQ(done.status, NoReply);
    EXPECT_EQ(done.error, Complaints::noServer(port.number()));
}

TEST(QuorvactlWithoutServer, WrongCommandLineIsAUsageError)
{
    const std::vector<std::vector<std::string>> commandLines{
        {},
        {"DeleteTable", "{}", "surplus"},
        {"--unknown", "DeleteTable"},
        {"DeleteTable", "--port"},
        {"DeleteTable", "--port", "none"},
        {"DeleteTable", "--timeout", "-1"},
        {"query", "d|t", "h", "--begins-with=", "--count"},
        {"scan", "d|t", "--attributes=", "--count"},
        {"DeleteTable", "--port", "0"},
        {"DeleteTable", "--port", "65536"},
        {"--port", "1"},
    };
    for (const std::vector<std::string>& arguments : commandLines) {
        const ProgramRun done = quorvactl(arguments);
        EXPECT_EQ(done.status, Usage) << testing::PrintToString(arguments);
        EXPECT_EQ(done.output, "") << testing::PrintToString(arguments);
        EXPECT_THAT(done.error, HasSubstr("Run with --help for more information."))
            << testing::PrintToString(arguments);
    }
}

TEST(QuorvactlWithoutServer, HelpListsTheExitStatuses)
{
    const ProgramRun done = quorvactl({"--help"});
    EXPECT_EQ(done.status, Ok);
    EXPECT_THAT(done.output, AllOf(HasSubstr("OPERATION"), HasSubstr("JSON"), HasSubstr("--host TEXT:IPV4=127.0.0.1"),
                                   HasSubstr("=4567"), HasSubstr("\n  0   "), HasSubstr("\n  1   "),
                                   HasSubstr("\n  2   "), HasSubstr("\n  64  ")));
    EXPECT_EQ(done.error, "");
}

TEST(QuorvactlWithoutServer, VersionIsPrinted)
{
    const ProgramRun done = quorvactl({"--version"});
    EXPECT_EQ(done.status, Ok);
    EXPECT_THAT(done.output, MatchesRegex("quorvactl [0-9]+\\.[0-9]+\\.[0-9]+\n"));
    EXPECT_EQ(done.error, "");
}
