#include "api/apifixture.h"

namespace {

constexpr const char* Unknown = "com.amazon.coral.service#UnknownOperationException";

class Refusals : public ApiTest {};

} // namespace

TEST_F(Refusals, OperationsOfMoreThanOneMachineSayWhy)
{
    EXPECT_EQ(refusal("CreateGlobalTable", R"({"GlobalTableName":"orders","ReplicationGroup":[]})"),
              errorText(Unknown, "CreateGlobalTable is not available: there is one machine, and no other region to "
                                 "replicate to"));
    EXPECT_EQ(refusal("TransactWriteItems", "{}"),
              errorText(Unknown, "TransactWriteItems is not available: transactions are not available yet"));
    EXPECT_EQ(requests_, 0);
}

TEST_F(Refusals, OperationsThatTheApiDoesNotHave)
{
    EXPECT_EQ(refusal("PutItems", "{}"), errorText(Unknown, "There is no operation PutItems"));
    EXPECT_EQ(refusal("", "{}"), errorText(Unknown, "There is no operation "));
    EXPECT_EQ(refusal("describeTable", "{}"), errorText(Unknown, "There is no operation describeTable"));
    EXPECT_EQ(refusal("PutItem\xFF", "{}"),
              errorText(Unknown, "There is no operation of this name, which is not UTF-8"));
}

TEST_F(Refusals, BodiesThatAreNoJson)
{
    for (const char* body : {"", "{", "{}{}", "{\"TableName\":\"\xFF\"}", "{'TableName':'orders'}"})
        EXPECT_EQ(refusal("DescribeTable", body), errorText(SerializationType, "The body is not JSON"));
    EXPECT_EQ(refusal("ListTables", std::string(1000000, '[')), errorText(SerializationType, "The body is not JSON"));
    EXPECT_EQ(requests_, 0);
}

TEST_F(Refusals, BodiesThatEscapeHalfOfASurrogatePair)
{
    for (const char* name :
         {R"(\uDC00)", R"(\udfffx)", R"(\uD83D\uDE00\uDE00)", R"(\\\uDE00)", R"(\uD83D)", R"(\uDE00\uD83D)"})
        EXPECT_EQ(refusal("DescribeTable", "{\"TableName\":\"" + std::string(name) + "\"}"),
                  errorText(SerializationType, "The body is not JSON"))
            << name;
    // A whole pair, and what only looks like an escape.
    for (const char* name : {R"(\uD83D\uDE00)", R"(\\uDE00)", R"(\uD7FF)", R"(\uE000)"})
        EXPECT_THAT(refusal("DescribeTable", "{\"TableName\":\"" + std::string(name) + "\"}"),
                    testing::HasSubstr("Member must satisfy regular expression pattern"))
            << name;
    EXPECT_EQ(requests_, 0);
}

TEST_F(Refusals, BodiesWithAZeroByte)
{
    using namespace std::string_view_literals;
    for (const std::string_view body : {"{}\0"sv, "{}\0junk"sv, "\0{}"sv, "{\"TableName\":\"orders\0\"}"sv})
        EXPECT_EQ(refusal("ListTables", body), errorText(SerializationType, "The body is not JSON"));
    EXPECT_EQ(requests_, 0);
}

TEST_F(Refusals, AServerThatIsGone)
{
    server_.kill();
    ASSERT_TRUE(server_.waitForExit());
    Api::Service service(
        [](const QByteArray&, const QByteArray&, QByteArray*, QString* error) {
            *error = "gone";
            return Client::ExchangeResult::NotSent;
        },
        {});
    const Api::Reply reply = service.answer("ListTables", "localhost", "{}");
    EXPECT_EQ(reply.status, 503);
    EXPECT_EQ(reply.body.toStdString(), errorText("com.amazon.coral.service#ServiceUnavailableException",
                                                  "The server cannot be reached, nothing was done: gone"));
    const auto lost = [](Client::ExchangeResult result) {
        return Api::Service(
                   [result](const QByteArray&, const QByteArray&, QByteArray*, QString* error) {
                       *error = "gone";
                       return result;
                   },
                   {})
            .answer("ListTables", "localhost", "{}");
    };
    const Api::Reply failed = lost(Client::ExchangeResult::Lost);
    EXPECT_EQ(failed.status, 500);
    EXPECT_EQ(failed.body.toStdString(), errorText(std::string(ApiType) + "InternalServerError",
                                                   "No reply was received, the request may have been executed: gone"));
    EXPECT_EQ(lost(Client::ExchangeResult::TimedOut).body.toStdString(),
              errorText(std::string(ApiType) + "InternalServerError",
                        "No reply was received in time, the request may have been executed: gone"));
}
