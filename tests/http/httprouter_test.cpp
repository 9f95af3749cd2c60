#include "http/httprouter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace {

using testing::HasSubstr;

/** Answers with its name and the body; refuses the target "/files/private" of its own. */
class Named : public Http::HttpHandler {
public:
    explicit Named(const char* name) : name_(name) {}

    std::optional<Http::Response> refuse(const Http::RequestHead& head) override
    {
        if (head.target != "/files/private")
            return std::nullopt;
        return Http::Response{403, "", {}, name_ + " refuses"};
    }

    void serve(const Http::RequestHead&, QByteArray&& body, std::function<void(Http::Response&&)> done) override
    {
        done({200, "", {}, name_ + ' ' + body});
    }

private:
    const QByteArray name_;
};

class HttpRouter : public testing::Test {
protected:
    HttpRouter()
    {
        router_.add("/", {"POST"}, &root_);
        router_.add("/figures", {"GET", "HEAD"}, &figures_);
        router_.addTree("/files", {"GET"}, &read_);
        router_.addTree("/files", {"PUT"}, &write_);
    }

    /** The response, whether to the head or to the request; the body is "body". */
    Http::Response ask(const std::string& method, const std::string& target)
    {
        const Http::RequestHead head{method, target, {{"Host", "localhost"}}, true, false};
        if (std::optional<Http::Response> refusal = router_.refuse(head))
            return *refusal;
        Http::Response response;
        router_.serve(head, "body", [&](Http::Response&& answer) { response = std::move(answer); });
        return response;
    }

    std::string served(const std::string& method, const std::string& target)
    {
        const Http::Response response = ask(method, target);
        EXPECT_EQ(response.status, 200) << method << ' ' << target;
        return response.body.toStdString();
    }

    static std::string allowed(const Http::Response& response)
    {
        for (const Http::ResponseHeader& header : response.headers) {
            if (header.name == "Allow")
                return header.value;
        }
        return "";
    }

    AllowedUsers everybody_;
    Named root_{"root"};
    Named figures_{"figures"};
    Named read_{"read"};
    Named write_{"write"};
    Http::HttpRouter router_{Http::AllowedHosts(), &everybody_};
};

} // namespace

TEST_F(HttpRouter, PicksTheHandlerOfThePath)
{
    EXPECT_EQ(served("POST", "/"), "root body");
    EXPECT_EQ(served("GET", "/figures"), "figures body");
    EXPECT_EQ(served("HEAD", "/figures"), "figures body");
}

TEST_F(HttpRouter, QueryAndFragmentAreNoPartOfThePath)
{
    EXPECT_EQ(served("POST", "/?a/b"), "root body");
    EXPECT_EQ(served("GET", "/figures?now=1"), "figures body");
    EXPECT_EQ(served("GET", "/figures#end"), "figures body");
}

TEST_F(HttpRouter, TreeHasThePathsBelow)
{
    for (const char* path : {"/files", "/files/", "/files/a", "/files/a/b?c"})
        EXPECT_EQ(served("GET", path), "read body") << path;
}

TEST_F(HttpRouter, MethodsOfAPathMayHaveTheirOwnHandlers)
{
    EXPECT_EQ(served("PUT", "/files/a"), "write body");
}

TEST_F(HttpRouter, OtherPathsAreNotFound)
{
    for (const char* path : {"", "//", "/figures/", "/figures/a", "/figure", "/filesystem", "/Files", "files", "*"}) {
        const Http::Response response = ask("GET", path);
        EXPECT_EQ(response.status, 404) << path;
        EXPECT_EQ(response.body, R"({"__type":"com.amazonaws.dynamodb.v20111205#InvalidRequestException",)"
                                 R"("message":"There is nothing at this path"})");
        EXPECT_EQ(allowed(response), "");
    }
}

TEST_F(HttpRouter, OtherMethodsAreAnsweredWithTheRightOnes)
{
    Http::Response response = ask("GET", "/");
    EXPECT_EQ(response.status, 405);
    EXPECT_EQ(allowed(response), "POST");
    EXPECT_THAT(response.body.toStdString(), HasSubstr(R"("message":"The only method is POST")"));
    response = ask("POST", "/figures");
    EXPECT_EQ(response.status, 405);
    EXPECT_EQ(allowed(response), "GET, HEAD");
    EXPECT_THAT(response.body.toStdString(), HasSubstr(R"("message":"The only methods are GET and HEAD")"));
    EXPECT_EQ(allowed(ask("DELETE", "/files/a")), "GET, PUT");
    EXPECT_EQ(allowed(ask("get", "/figures")), "GET, HEAD");
}

TEST_F(HttpRouter, HandlerMayRefuseByTheHead)
{
    const Http::Response response = ask("GET", "/files/private");
    EXPECT_EQ(response.status, 403);
    EXPECT_EQ(response.body, "read refuses");
}

TEST_F(HttpRouter, ForeignHostIsRefusedAtEveryPath)
{
    for (const char* target : {"/", "/figures", "/files/a", "/nothing"}) {
        for (const char* method : {"GET", "POST"}) {
            const std::optional<Http::Response> refusal =
                router_.refuse({method, target, {{"Host", "rebound.example"}}, true, false});
            ASSERT_TRUE(refusal) << target;
            EXPECT_EQ(refusal->status, 403) << target;
        }
    }
}
