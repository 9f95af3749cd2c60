#include "exposition.h"
#include "http/httpfixture.h"
#include "support/programrun.h"
#include "support/waituntil.h"

#include <gmock/gmock.h>

#include <fstream>
#include <string>

namespace {

/** Requests of /metrics. */
class Metrics : public HttpTest {
protected:
    static std::string get(const std::string& path, const std::string& method = "GET",
                           const std::string& host = "localhost")
    {
        return method + ' ' + path + " HTTP/1.1\r\nHost: " + host + "\r\n\r\n";
    }

    /** The figures, after checking their form. */
    Exposition figures() const
    {
        HttpClient client(http_.port());
        const HttpAnswer answer = client.exchange(get("/metrics"));
        EXPECT_EQ(answer.status, 200);
        EXPECT_EQ(answer.header("content-type"), "text/plain; version=0.0.4; charset=utf-8");
        SCOPED_TRACE(answer.body);
        return Exposition(answer.body);
    }

    /** The bytes of an answer as it was sent. */
    static std::size_t sizeOf(const HttpAnswer& answer)
    {
        std::size_t size = std::string("HTTP/1.1 200 " + answer.reason + "\r\n\r\n" + answer.body).size();
        for (const auto& [name, value] : answer.headers)
            size += (name + ": " + value + "\r\n").size();
        return size;
    }

    static std::string requests(const std::string& operation, const std::string& outcome = "Success")
    {
        return "quorva_requests_total{operation=\"" + operation + "\",outcome=\"" + outcome + "\"}";
    }

    std::string ofDirectory(const std::string& name) const
    {
        return "quorva_environment_" + name + "{directory=\"" + directory_.path() + "\"}";
    }
};

} // namespace

TEST_F(Metrics, CountTheRequestsThatWereMade)
{
    HttpClient client(http_.port());
    for (int i = 0; i < 7; ++i)
        ASSERT_EQ(client.call("PutItem", putBody("a", std::to_string(i), R"(,"n":{"S":"x"})")).status, 200);
    const std::string expected = R"("Expected":{"n":{"Exists":false}})";
    for (int i = 0; i < 2; ++i)
        ASSERT_EQ(
            client.call("PutItem", body(R"("Item":{"hash":{"S":"a"},"range":{"S":"1"},"n":{"S":"x"}},)" + expected))
                .status,
            400);
    const Exposition counted = figures();
    EXPECT_EQ(counted.value("quorva_up"), 1);
    EXPECT_EQ(counted.value(requests("CreateTable")), 1);
    EXPECT_EQ(counted.value(requests("PutItem")), 7);
    EXPECT_EQ(counted.value(requests("PutItem", "ConditionalCheckFailedException")), 2);
    const std::string labels = R"({operation="PutItem",outcome="Success")";
    EXPECT_EQ(counted.value("quorva_request_duration_seconds_count" + labels + "}"), 7);
    EXPECT_GT(counted.value("quorva_request_duration_seconds_sum" + labels + "}"), 0);
    ASSERT_EQ(client.call("PutItem", putBody("b", "1")).status, 200);
    EXPECT_EQ(figures().value(requests("PutItem")), 8);
}

TEST_F(Metrics, HaveTheOpenEnvironments)
{
    HttpClient client(http_.port());
    ASSERT_EQ(client.call("PutItem", putBody("a", "1")).status, 200);
    const Exposition counted = figures();
    EXPECT_EQ(counted.value(ofDirectory("tables")), 1);
    EXPECT_GT(counted.value(ofDirectory("cache_bytes")), 0);
    EXPECT_GT(counted.value(ofDirectory("log_bytes")), 0);
    EXPECT_GT(counted.value(ofDirectory("commits_total")), 0);
    EXPECT_GT(counted.value(ofDirectory("flushes_total")), 0);
    const std::string none = "{directory=\"" + directory_.path() + "\",state=\"none\"}";
    EXPECT_EQ(counted.value("quorva_environment_backup_state" + none), 1);
    ASSERT_EQ(client.call("DeleteTable", R"({"TableName":")" + table() + "\"}").status, 200);
    EXPECT_EQ(figures().sum("quorva_environment_"), 0) << "closed";
}

TEST_F(Metrics, DirectoryIsEscapedAsALabel)
{
    (void)directory_.makeDirectory("a \"b\\c\nd");
    HttpClient client(http_.port());
    const std::string name = directory_.path() + R"(/a \"b\\c\nd|t)";
    ASSERT_EQ(client.call("UpdateTable", R"({"TableName":")" + name + "\"}").status, 200);
    EXPECT_EQ(figures().value("quorva_environment_tables{directory=\"" + directory_.path() + R"(/a \"b\\c\nd"})"), 0);
}

TEST_F(Metrics, CountTheProgramsOwnConnectionsBytesAndResponses)
{
    const HttpAnswer look = HttpClient(http_.port()).exchange(get("/metrics"));
    const Exposition before(look.body);
    const std::string request = apiRequest("GetItem", "no JSON");
    HttpClient client(http_.port());
    HttpAnswer refusal;
    for (int i = 0; i < 3; ++i)
        refusal = client.exchange(request);
    ASSERT_EQ(refusal.status, 400);
    const Exposition after = figures();
    const auto added = [&](const std::string& sample) { return after.value(sample) - before.value(sample); };
    EXPECT_EQ(added("quorva_http_connections_accepted_total"), 2) << "the client's, and that of the second look";
    EXPECT_EQ(after.value("quorva_http_responses_total{code=\"400\"}"), 3);
    EXPECT_EQ(added("quorva_http_responses_total{code=\"200\"}"), 1) << "the first look";
    EXPECT_EQ(added("quorva_http_received_bytes_total"),
              static_cast<double>(3 * request.size() + get("/metrics").size()));
    EXPECT_EQ(added("quorva_http_sent_bytes_total"), static_cast<double>(sizeOf(look) + 3 * sizeOf(refusal)));
    EXPECT_EQ(after.value("quorva_http_connections_refused_total"), 0);
    EXPECT_GE(after.value("quorva_http_connections"), 2) << "the client's, and that of the look";
    client.close();
    EXPECT_TRUE(waitUntil([&] { return figures().value("quorva_http_connections") == 1; })) << "that of the look";
}

TEST_F(Metrics, ServerThatIsAwayIsDownAndTheOwnFiguresStay)
{
    server_.kill();
    ASSERT_EQ(server_.waitForExit(), -SIGKILL);
    const Exposition counted = figures();
    EXPECT_EQ(counted.value("quorva_up"), 0);
    EXPECT_GT(counted.value("quorva_http_connections_accepted_total"), 0);
    EXPECT_EQ(counted.sum("quorva_requests_total"), 0);
    EXPECT_FALSE(counted.has("quorva_connections"));
}

TEST_F(Metrics, HeadHasTheHeadersAlone)
{
    HttpClient client(http_.port());
    ASSERT_TRUE(client.send(get("/metrics", "HEAD")));
    const HttpAnswer answer = client.receive(false);
    EXPECT_EQ(answer.status, 200);
    EXPECT_GT(std::stoi(answer.header("content-length")), 1000);
    EXPECT_EQ(client.exchange(get("/health")).status, 200) << "the connection is in step";
}

TEST_F(Metrics, OtherMethodsAndHostsAreRefused)
{
    for (const char* path : {"/metrics", "/health"}) {
        HttpClient client(http_.port());
        const HttpAnswer answer = client.exchange(get(path, "POST"));
        expectError(answer, 405, "InvalidRequestException", "The only methods are GET and HEAD");
        EXPECT_EQ(answer.header("allow"), "GET, HEAD");
        EXPECT_EQ(HttpClient(http_.port()).exchange(get(path, "GET", "rebound.example")).status, 403);
    }
    EXPECT_EQ(HttpClient(http_.port())
                  .exchange("GET /metrics HTTP/1.1\r\nHost: localhost\r\nOrigin: http://page.example\r\n\r\n")
                  .status,
              403);
}

TEST_F(Metrics, ArePassedByPromtool)
{
#ifdef PROMTOOL
    HttpClient client(http_.port());
    ASSERT_EQ(client.call("PutItem", putBody("a", "1")).status, 200);
    const std::string file = directory_.file("figures");
    std::ofstream(file) << client.exchange(get("/metrics")).body;
    const ProgramRun run = runProgram(PROMTOOL, {"check", "metrics"}, {file});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.output + run.error, "");
#else
    GTEST_SKIP() << "needs promtool; see script/bootstrap metrics";
#endif
}
