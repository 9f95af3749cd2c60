#include "http/httpfixture.h"
#include "support/waituntil.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <string>
#include <vector>

namespace {

using testing::EndsWith;

const char* const ForeignHost = "The host is not one of those that are served; see --allow-host";
const char* const ForeignOrigin = "The origin is not one of those that are served; see --allow-host";
const char* const NoHost = "There must be exactly one Host header";

/** A request that would create an item. */
class ForeignPage : public HttpTest {
protected:
    std::string put(const std::string& headers, const std::string& target = "/",
                    const std::string& version = "1.1") const
    {
        const std::string text = putBody("made", "1", R"(,"n":{"N":"1"})");
        return "POST " + target + " HTTP/" + version + "\r\n" + headers +
               "X-Amz-Target: DynamoDB_20111205.PutItem\r\nContent-Length: " + std::to_string(text.size()) +
               "\r\n\r\n" + text;
    }

    /** Expects this error as the answer, a closed connection, and that no item was created. */
    void expectRefused(const std::string& bytes, int status, const std::string& type, const std::string& message)
    {
        SCOPED_TRACE(bytes);
        HttpClient client(http_.port());
        const HttpAnswer answer = client.exchange(bytes);
        expectError(answer, status, type, message);
        EXPECT_EQ(answer.header("connection"), "close");
        EXPECT_TRUE(client.isClosedByPeer());
        EXPECT_EQ(HttpClient(http_.port()).call("GetItem", body("\"Key\":" + key("made", "1"))).body, "{}");
    }

    /** Expects the request to be served. */
    void expectServed(const std::string& headers)
    {
        const std::string text = body("\"Key\":" + key("none", "1"));
        HttpClient client(http_.port());
        const HttpAnswer answer = client.exchange("POST / HTTP/1.1\r\n" + headers +
                                                  "X-Amz-Target: DynamoDB_20111205.GetItem\r\nContent-Length: " +
                                                  std::to_string(text.size()) + "\r\n\r\n" + text);
        EXPECT_EQ(answer.status, 200) << headers << answer.body;
    }

    /** The messages since the start, after the first line, which says that it listens. */
    std::string told() const
    {
        const std::string text = http_.errorText();
        return text.substr(text.find('\n') + 1);
    }

    std::string port() const { return std::to_string(http_.port()); }
};

} // namespace

TEST_F(ForeignPage, HostsOfTheLoopbackAreServed)
{
    for (const std::string host : {"127.0.0.1", "localhost", "[::1]", "LocalHost."}) {
        expectServed("Host: " + host + "\r\n");
        expectServed("Host: " + host + ':' + port() + "\r\n");
        expectServed("hOST:" + host + "\r\nOrigin: http://" + host + ':' + port() + "\r\n");
    }
    EXPECT_EQ(told(), "");
}

TEST_F(ForeignPage, NameThatWasReboundIsRefusedWithOneLineEach)
{
    expectRefused(put("Host: rebound.example\r\n"), 403, "AccessDeniedException", ForeignHost);
    EXPECT_EQ(told(), "quorva-http: request refused, host \"rebound.example\" is not served\n");
    expectRefused(put("Host: rebound.example:" + port() + "\r\n"), 403, "AccessDeniedException", ForeignHost);
    EXPECT_THAT(told(), EndsWith("host \"rebound.example:" + port() + "\" is not served\n"));
    const std::string text = told();
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 2);
}

TEST_F(ForeignPage, HostsThatAreNearlyOursAreRefused)
{
    for (const std::string host :
         {"127.0.0.2", "localhost:1", "[::1", "localhost.evil", "127.0.0.1:@evil", "127.0.0.1@evil"})
        expectRefused(put("Host: " + host + "\r\n"), 403, "AccessDeniedException", ForeignHost);
}

TEST_F(ForeignPage, HostIsLookedAtBeforePathAndMethod)
{
    expectRefused(put("Host: rebound.example\r\n", "/table"), 403, "AccessDeniedException", ForeignHost);
    expectRefused("GET / HTTP/1.1\r\nHost: rebound.example\r\n\r\n", 403, "AccessDeniedException", ForeignHost);
    expectRefused("OPTIONS / HTTP/1.1\r\nHost: rebound.example\r\n\r\n", 403, "AccessDeniedException", ForeignHost);
}

TEST_F(ForeignPage, TargetThatNamesAHostItselfIsNoPath)
{
    for (const std::string target : {"http://rebound.example/", "http://127.0.0.1/"})
        expectRefused(put("Host: localhost\r\n", target), 404, "InvalidRequestException",
                      "There is nothing at this path");
}

TEST_F(ForeignPage, RequestWithoutOneHostIsNotUnderstood)
{
    expectRefused(put(""), 400, "InvalidRequestException", NoHost);
    expectRefused(put("Host: \r\n"), 400, "InvalidRequestException", NoHost); // an empty header counts as a missing one
    expectRefused(put("", "/", "1.0"), 400, "InvalidRequestException", NoHost);
    expectRefused(put("Host: localhost\r\nHost: localhost\r\n"), 400, "InvalidRequestException", NoHost);
    expectRefused(put("Host: localhost\r\nhost: rebound.example\r\n"), 400, "InvalidRequestException", NoHost);
    EXPECT_EQ(told(), "");
}

TEST_F(ForeignPage, OriginsOfOtherPagesAreRefused)
{
    for (const std::string origin :
         {"null", "http://rebound.example", "http://localhost:1", "http://localhost", "https://127.0.0.1"})
        expectRefused(put("Host: localhost\r\nOrigin: " + origin + "\r\n"), 403, "AccessDeniedException",
                      ForeignOrigin);
    expectRefused(put("Host: localhost\r\nOrigin: http://localhost\r\nOrigin: http://rebound.example\r\n"), 403,
                  "AccessDeniedException", ForeignOrigin);
    EXPECT_THAT(told(), testing::StartsWith("quorva-http: request refused, origin \"null\" is not served\n"));
}

TEST_F(ForeignPage, IsNotToldToSendItsBody)
{
    HttpClient client(http_.port());
    const HttpAnswer answer = client.exchange(
        "POST / HTTP/1.1\r\nHost: rebound.example\r\nExpect: 100-continue\r\nContent-Length: 2\r\n\r\n");
    EXPECT_EQ(answer.status, 403);
    EXPECT_TRUE(client.isClosedByPeer());
}

TEST_F(ForeignPage, LineInTheLogIsOfPlainTextAndShort)
{
    HttpClient client(http_.port());
    (void)client.exchange(put("Host: a\x9b[31m\"\xff" + std::string(5000, 'x') + "\r\n"));
    EXPECT_EQ(told(), "quorva-http: request refused, host \"a?[31m??" + std::string(92, 'x') + "...\" is not served\n");
}

TEST_F(ForeignPage, HostsThatAreAllowedAreServed)
{
    http_.kill();
    ASSERT_EQ(http_.waitForExit(), 0);
    ASSERT_TRUE(http_.start(server_.port(), {"--allow-host", "tables.example", "--allow-host", "localhost:9000"}));
    expectServed("Host: tables.example\r\nOrigin: https://Tables.Example\r\n");
    expectServed("Host: localhost:9000\r\n");
    expectServed("Host: localhost\r\n");
    expectRefused(put("Host: tables.example:9000\r\n"), 403, "AccessDeniedException", ForeignHost);
}
