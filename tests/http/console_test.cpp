#include "http/httpfixture.h"

#include <gmock/gmock.h>

#include <string>
#include <utility>
#include <vector>

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;

const char* const NoToken = "The console needs the token that quorva-http printed when it started";
const char* const ReadOnly = "The console is read-only; start quorva-http with --console-write";

/** quorva-http with the console, as its page talks to it. */
class Console : public HttpTest {
protected:
    void SetUp() override
    {
        HttpTest::SetUp();
        restart({"--console"});
    }

    void restart(const std::vector<std::string>& arguments)
    {
        http_.kill();
        ASSERT_EQ(http_.waitForExit(), 0);
        ASSERT_TRUE(http_.start(server_.port(), arguments));
    }

    /** The token in the address that was printed. */
    std::string token() const
    {
        const std::string text = http_.errorText();
        const std::string mark = "/console#token=";
        const std::size_t at = text.find(mark);
        EXPECT_NE(at, std::string::npos) << text;
        return at == std::string::npos ? "" : text.substr(at + mark.size(), text.find('\n', at) - at - mark.size());
    }

    std::string bearer() const { return "Authorization: Bearer " + token() + "\r\n"; }

    HttpAnswer get(const std::string& path, const std::string& headers = "")
    {
        return HttpClient(http_.port()).exchange("GET " + path + " HTTP/1.1\r\nHost: localhost\r\n" + headers + "\r\n");
    }

    HttpAnswer call(const std::string& operation, const std::string& text, const std::string& headers)
    {
        return HttpClient(http_.port())
            .exchange("POST /console/api HTTP/1.1\r\nHost: localhost\r\nX-Amz-Target: " + operation + "\r\n" + headers +
                      "Content-Length: " + std::to_string(text.size()) + "\r\n\r\n" + text);
    }

    HttpAnswer getItem(const std::string& headers)
    {
        return call("DynamoDB_20111205.GetItem", body("\"Key\":" + key("none", "1")), headers);
    }

    std::string itemNow() { return HttpClient(http_.port()).call("GetItem", body("\"Key\":" + key("made", "1"))).body; }
};

void expectConfined(const HttpAnswer& answer)
{
    EXPECT_EQ(answer.header("content-security-policy"),
              "default-src 'none'; script-src 'self'; style-src 'self'; connect-src 'self'; img-src 'self' data:; "
              "base-uri 'none'; form-action 'none'; frame-ancestors 'none'; require-trusted-types-for 'script'; "
              "trusted-types 'none'");
    EXPECT_EQ(answer.header("x-content-type-options"), "nosniff");
    EXPECT_EQ(answer.header("referrer-policy"), "no-referrer");
    EXPECT_EQ(answer.header("cross-origin-resource-policy"), "same-origin");
    EXPECT_EQ(answer.header("cross-origin-opener-policy"), "same-origin");
    EXPECT_EQ(answer.header("cache-control"), "no-store");
}

} // namespace

TEST_F(Console, AddressWithTheTokenIsPrintedAtTheStartAndNeverAgain)
{
    const std::string before = http_.errorText();
    EXPECT_THAT(before, MatchesRegex("quorva-http: listening on [^\n]*\n"
                                     "quorva-http: console at http://127\\.0\\.0\\.1:" +
                                     std::to_string(http_.port()) + "/console#token=[0-9a-f]{48}\n"));
    EXPECT_EQ(getItem(bearer()).status, 200);
    EXPECT_EQ(getItem("Authorization: Bearer wrong\r\n").status, 403);
    EXPECT_EQ(get("/console").status, 200);
    EXPECT_EQ(http_.errorText(), before);
    const std::string first = token();
    restart({"--console"});
    EXPECT_NE(token(), first);
}

TEST_F(Console, PageAndItsFilesAreConfined)
{
    for (const auto& [path, type] :
         std::vector<std::pair<std::string, std::string>>{{"/console", "text/html; charset=utf-8"},
                                                          {"/console/", "text/html; charset=utf-8"},
                                                          {"/console?a=b", "text/html; charset=utf-8"},
                                                          {"/console/app.js", "text/javascript; charset=utf-8"},
                                                          {"/console/base.css", "text/css; charset=utf-8"},
                                                          {"/console/icon.svg", "image/svg+xml"}}) {
        SCOPED_TRACE(path);
        const HttpAnswer answer = get(path);
        EXPECT_EQ(answer.status, 200);
        EXPECT_EQ(answer.header("content-type"), type);
        EXPECT_THAT(answer.body, Not(HasSubstr("http://127.0.0.1")));
        expectConfined(answer);
    }
    EXPECT_THAT(get("/console").body, StartsWith("<!doctype html>"));
    EXPECT_THAT(get("/console").body, EndsWith("</html>\n"));
}

TEST_F(Console, OtherPathsBelowItAreNotThere)
{
    for (const char* path : {"/console/none.js", "/console/app.js/", "/console//app.js", "/console/../console/app.js",
                             "/consoles", "/console/%61pp.js"})
        EXPECT_EQ(get(path).status, 404) << path;
    HttpClient client(http_.port());
    const HttpAnswer posted = client.exchange("POST /console HTTP/1.1\r\nHost: localhost\r\nContent-Length: 0\r\n\r\n");
    EXPECT_EQ(posted.status, 405);
    EXPECT_EQ(posted.header("allow"), "GET, HEAD");
}

TEST_F(Console, RequestsNeedTheToken)
{
    EXPECT_EQ(getItem(bearer()).body, "{}");
    EXPECT_EQ(get("/console/settings", bearer()).status, 200);
    std::string almost = token();
    almost.back() = almost.back() == '0' ? '1' : '0';
    for (const std::string& headers :
         {std::string(), std::string("Authorization: Bearer \r\n"), "Authorization: Bearer " + almost + "\r\n",
          "Authorization: Bearer " + token() + "0\r\n", "Authorization: Bearer " + token().substr(1) + "\r\n",
          "Authorization: Basic " + token() + "\r\n", "Authorization: " + token() + "\r\n",
          "Cookie: token=" + token() + "\r\n"}) {
        SCOPED_TRACE(headers);
        expectError(getItem(headers), 403, "InvalidTokenException", NoToken);
        const HttpAnswer settings = get("/console/settings?token=" + token(), headers);
        expectError(settings, 403, "InvalidTokenException", NoToken);
        expectConfined(settings);
    }
}

TEST_F(Console, ForeignHostsAndOriginsAreRefusedEvenWithTheToken)
{
    for (const std::string& headers :
         {"Host: rebound.example\r\n" + bearer(), "Host: localhost\r\nOrigin: http://localhost:1\r\n" + bearer()}) {
        HttpClient client(http_.port());
        const HttpAnswer answer = client.exchange("GET /console/settings HTTP/1.1\r\n" + headers + "\r\n");
        EXPECT_EQ(answer.status, 403);
        EXPECT_THAT(answer.body, HasSubstr("AccessDeniedException"));
    }
}

TEST_F(Console, SettingsTellThePageWhatItMayDo)
{
    const std::string server = "127.0.0.1:" + std::to_string(server_.port());
    EXPECT_EQ(get("/console/settings", bearer()).body,
              R"({"Directories":[],"Server":")" + server + R"(","Write":false})");
    restart({"--console-write", "--directory", "build/shop", "--directory", "größer"});
    const HttpAnswer answer = get("/console/settings", bearer());
    EXPECT_EQ(answer.body, R"({"Directories":["build/shop","größer"],"Server":")" + server + R"(","Write":true})");
    expectConfined(answer);
}

TEST_F(Console, WritesAreRefusedUnlessTheyWereAllowed)
{
    const std::string entry = R"({"Entries":[{"TableName":")" + table() + R"(","Key":)" + key("made", "1") +
                              R"(,"Expected":{"Exists":false},"Put":{"n":{"N":"1"}}}]})";
    const std::string flush = body(R"("ProvisionedThroughput":{"FlushDB":true})");
    expectError(call("Quorva_1.Commit", entry, bearer()), 403, "AccessDeniedException", ReadOnly);
    expectError(call("DynamoDB_20111205.UpdateTable", flush, bearer()), 403, "AccessDeniedException", ReadOnly);
    EXPECT_EQ(itemNow(), "{}");
    restart({"--console-write"});
    EXPECT_EQ(call("Quorva_1.Commit", entry, bearer()).body, "{}");
    EXPECT_EQ(itemNow(), R"({"Item":{"n":{"N":"1"}}})");
    EXPECT_EQ(call("DynamoDB_20111205.UpdateTable", flush, bearer()).status, 200);
    const HttpAnswer again = call("Quorva_1.Commit", entry, bearer());
    EXPECT_EQ(again.status, 400);
    EXPECT_THAT(again.body, HasSubstr(R"("Mismatches":[{"Entry":0,"Item":{"n":{"N":"1"}}}])"));
}

TEST_F(Console, OperationsThatThePageDoesNotUseAreRefused)
{
    restart({"--console-write"});
    for (const char* operation : {"DynamoDB_20111205.PutItem", "DynamoDB_20111205.DeleteTable", "Status", "",
                                  "DynamoDB_20111205.Commit", "Quorva_1.GetItem"})
        expectError(call(operation, putBody("made", "1"), bearer()), 400, "UnknownOperationException",
                    "The console has no such operation");
    EXPECT_EQ(itemNow(), "{}");
    expectError(call("Quorva_1.Status", "[]", bearer()), 400, "SerializationException",
                "The body is not a JSON object");
    EXPECT_THAT(call("Quorva_1.Status", "{}", bearer()).body, HasSubstr("\"Uptime\""));
    EXPECT_THAT(call("Quorva_1.ListTables", R"({"Directory":")" + directory_.path() + "\"}", bearer()).body,
                HasSubstr("\"TableName\":\"" + table() + '"'));
}

TEST_F(Console, IsNotThereUnlessAskedFor)
{
    restart({});
    EXPECT_THAT(http_.errorText(), Not(HasSubstr("token")));
    for (const char* path : {"/console", "/console/app.js", "/console/settings"})
        EXPECT_EQ(get(path).status, 404) << path;
    EXPECT_EQ(getItem("").status, 404);
}
