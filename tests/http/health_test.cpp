#include "http/httpfixture.h"
#include "support/heldport.h"
#include "support/otheruser.h"
#include "support/programrun.h"

#include <gmock/gmock.h>

#include <csignal>
#include <string>
#include <vector>

namespace {

using testing::HasSubstr;
using testing::StartsWith;

const std::string Get = "GET /health HTTP/1.1\r\nHost: localhost\r\n\r\n";

void expectUnhealthy(int port, const std::string& sentence)
{
    const HttpAnswer answer = HttpClient(port).exchange(Get);
    EXPECT_EQ(answer.status, 503);
    EXPECT_EQ(answer.reason, "Service Unavailable");
    EXPECT_EQ(answer.header("content-type"), "text/plain; charset=utf-8");
    EXPECT_EQ(answer.body, sentence + '\n');
}

std::string serverAt(int port)
{
    return "The server at 127.0.0.1:" + std::to_string(port) + ' ';
}

class Health : public HttpTest {
protected:
    /** The port of --metrics-only, on a free port, after a restart with it. */
    int startMetricsOnly(std::vector<std::string> arguments = {})
    {
        http_.kill();
        EXPECT_EQ(http_.waitForExit(), 0);
        arguments.insert(arguments.end(), {"--metrics-only", "0"});
        EXPECT_TRUE(http_.start(server_.port(), arguments));
        const std::string text = http_.errorText();
        const std::string mark = "\nquorva-http: listening on 127.0.0.1:";
        const std::size_t at = text.find(mark);
        EXPECT_NE(at, std::string::npos) << text;
        EXPECT_THAT(text, testing::EndsWith(" for /metrics and /health\n"));
        return at == std::string::npos ? 0 : std::stoi(text.substr(at + mark.size()));
    }
};

} // namespace

TEST_F(Health, ServerThatAnswersIsHealthy)
{
    HttpClient client(http_.port());
    const HttpAnswer answer = client.exchange(Get);
    EXPECT_EQ(answer.status, 200);
    EXPECT_EQ(answer.header("content-type"), "text/plain; charset=utf-8");
    EXPECT_EQ(answer.header("cache-control"), "no-store");
    EXPECT_EQ(answer.body, "The server answers.\n");
    ASSERT_TRUE(client.send("HEAD /health HTTP/1.1\r\nHost: localhost\r\n\r\n"));
    EXPECT_EQ(client.receive(false).status, 200);
    EXPECT_EQ(client.exchange(Get).status, 200);
}

TEST_F(Health, ServerThatIsAwayIsNotUntilItIsBack)
{
    server_.kill();
    ASSERT_EQ(server_.waitForExit(), -SIGKILL);
    expectUnhealthy(http_.port(), serverAt(server_.port()) + "cannot be reached: connect: Connection refused.");
}

TEST(HealthOfAStuckServer, IsKnownInABoundedTimeAlsoWhenAllThreadsWait)
{
    ServerProcess server;
    ASSERT_TRUE(server.start());
    HttpProcess http;
    ASSERT_TRUE(http.start(server.port(), {"--threads", "1", "--connect-timeout", "1"}));
    EXPECT_EQ(HttpClient(http.port()).exchange(Get).status, 200);
    server.kill(SIGSTOP);
    HttpClient waiting(http.port()); // takes the only thread
    ASSERT_TRUE(waiting.send(apiRequest("DeleteTable", "{}")));
    expectUnhealthy(http.port(), serverAt(server.port()) + "does not answer within 1 s.");
    server.kill(SIGCONT);
    EXPECT_EQ(waiting.receive().status, 200);
    EXPECT_EQ(HttpClient(http.port()).exchange(Get).status, 200);
    server.kill();
}

TEST_F(Health, MetricsPortServesFiguresAndHealthAlone)
{
    const int port = startMetricsOnly();
    EXPECT_EQ(HttpClient(port).exchange(Get).status, 200);
    const HttpAnswer figures = HttpClient(port).exchange("GET /metrics HTTP/1.1\r\nHost: localhost\r\n\r\n");
    EXPECT_EQ(figures.status, 200);
    EXPECT_THAT(figures.body, HasSubstr("\nquorva_up 1\n"));
    for (const std::string& request :
         {apiRequest("DeleteTable", ""), std::string("GET /console HTTP/1.1\r\nHost: localhost\r\n\r\n")})
        expectError(HttpClient(port).exchange(request), 404, "InvalidRequestException",
                    "There is nothing at this path");
    EXPECT_EQ(HttpClient(port).exchange("GET /health HTTP/1.1\r\nHost: localhost\r\nContent-Length: 1\r\n\r\nx").status,
              413);
    EXPECT_EQ(HttpClient(http_.port()).exchange(Get).status, 200) << "the other port has both as well";
    EXPECT_EQ(HttpClient(http_.port()).call("DeleteTable", "{}").status, 200);
}

TEST_F(Health, MetricsPortChecksHostsWithItsOwnNumber)
{
    const int port = startMetricsOnly({"--allow-host", "tables.example"});
    const auto statusFor = [&](const std::string& host) {
        return HttpClient(port).exchange("GET /health HTTP/1.1\r\nHost: " + host + "\r\n\r\n").status;
    };
    EXPECT_EQ(statusFor("127.0.0.1:" + std::to_string(port)), 200);
    EXPECT_EQ(statusFor("tables.example"), 200);
    EXPECT_EQ(statusFor("127.0.0.1:" + std::to_string(http_.port())), 403);
    EXPECT_EQ(statusFor("rebound.example"), 403);
    EXPECT_FALSE(canConnect("127.0.0.2", port)) << "it listens on 127.0.0.1 alone";
}

TEST_F(Health, MetricsPortIsForEveryUser)
{
    SKIP_UNLESS_ROOT();
    const int port = startMetricsOnly({"--allow-users", "40001"});
    EXPECT_THAT(UserConnection(OtherUser, http_.port()).exchange(Get), StartsWith("HTTP/1.1 200 OK\r\n"));
    EXPECT_EQ(UserConnection(ThirdUser, http_.port()).exchange(Get), "");
    EXPECT_THAT(UserConnection(ThirdUser, port).exchange(Get), StartsWith("HTTP/1.1 200 OK\r\n"));
    EXPECT_THAT(HttpClient(port).exchange("GET /metrics HTTP/1.1\r\nHost: localhost\r\n\r\n").body,
                HasSubstr("\nquorva_http_connections_refused_total 1\n"));
}

TEST_F(Health, MetricsPortThatIsTakenIsReportedAndEndsTheProgram)
{
    HeldPort taken;
    taken.listen(1);
    const ProgramRun run = runProgram(QUORVA_HTTP_BINARY, {"--listen", "0", "--port", std::to_string(server_.port()),
                                                           "--metrics-only", std::to_string(taken.number())});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.error, "quorva-http: cannot listen on 127.0.0.1:" + std::to_string(taken.number()) +
                             ": Address already in use\n");
}

TEST_F(Health, EndsWithBothPorts)
{
    const int port = startMetricsOnly();
    HttpClient idle(port);
    ASSERT_EQ(idle.exchange(Get).status, 200);
    http_.kill();
    EXPECT_EQ(http_.waitForExit(), 0);
    EXPECT_TRUE(idle.isClosedByPeer());
    EXPECT_FALSE(canConnect("127.0.0.1", port));
}
