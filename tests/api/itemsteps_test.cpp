// Requests in steps, with the exchange between them done here.
#include "itemfixture.h"

#include <utility>

namespace {

using Api::Request;

class ApiItemSteps : public ApiItems {
protected:
    /** Begins a request. */
    Request::Step begin(const std::string& operation, const std::string& body)
    {
        request_ = service_->prepare(operation, "127.0.0.1");
        EXPECT_NE(request_, nullptr);
        const int before = exchanges_;
        const Request::Step step = request_->begin(QByteArray::fromStdString(body));
        EXPECT_EQ(exchanges_, before) << "the first steps do not wait";
        return step;
    }

    /** The reply to a request that takes one exchange. */
    std::string stepped(const std::string& operation, const std::string& body)
    {
        EXPECT_EQ(begin(operation, body), Request::Step::Exchange);
        const int before = exchanges_;
        const Api::Reply reply = finish(request_->call());
        EXPECT_EQ(exchanges_, before) << "neither does the last";
        EXPECT_EQ(reply.status, 200) << reply.body.toStdString();
        return canonical(reply.body.toStdString());
    }

    /** Exchanges the call, and finishes the request with the outcome. */
    Api::Reply finish(const Api::ServerCall& call)
    {
        QByteArray reply;
        QString error;
        const Client::ExchangeResult result =
            pool_->exchange(call.operation.fullName(), QByteArray::fromStdString(call.body), &reply, &error);
        return request_->finish(result, std::move(reply), error);
    }

    std::unique_ptr<Request> request_;
};

const std::string OnlyIfAbsent = R"-(,"ConditionExpression":"attribute_not_exists(id)")-";

} // namespace

TEST_F(ApiItemSteps, UnconditionalRequestsAboutOneItemTakeOneExchange)
{
    (void)done("GetItem", body(key("a", "1"))); // the table is known then
    EXPECT_EQ(stepped("GetItem", body(key("a", "1"))), "{}");
    EXPECT_EQ(stepped("PutItem", put("a", "1", R"("n":{"N":"1.50"},"m":{"S":"x"})")), "{}");
    EXPECT_EQ(stepped("GetItem", body(key("a", "1") + R"(,"ProjectionExpression":"n")")),
              R"({"Item":{"n":{"N":"1.5"}}})");
    EXPECT_EQ(attributesOf("a", "1"), R"({"m":{"S":"x"},"n":{"N":"1.5"}})");
    EXPECT_EQ(stepped("DeleteItem", body(key("a", "1") + R"(,"ReturnConsumedCapacity":"TOTAL")")),
              R"({"ConsumedCapacity":{"CapacityUnits":1.0,"TableName":"items"}})");
    EXPECT_EQ(attributesOf("a", "1"), "none");
}

TEST_F(ApiItemSteps, AGetItemHasTheBytesOfAnswer)
{
    createTable("numbers", "N", "");
    createTable("bytes", "B", "S");
    const auto expectSame = [&](const std::string& table, const std::string& keys, const std::string& attributes,
                                const std::string& expected) {
        (void)done("PutItem", R"({"TableName":")" + table + R"(","Item":{)" + keys + attributes + "}}");
        const std::string get = R"({"TableName":")" + table + R"(","Key":{)" + keys + "}}";
        const Api::Reply answer = call("GetItem", get);
        ASSERT_EQ(begin("GetItem", get), Request::Step::Exchange);
        const Api::Reply reply = finish(request_->call());
        EXPECT_EQ(reply.status, 200);
        EXPECT_EQ(reply.body, answer.body);
        EXPECT_EQ(reply.body.toStdString(), R"({"Item":{)" + expected + "}}");
    };
    const std::string key = R"("ax":{"N":"1.50"},"id":{"S":"a\"b"})";
    const std::string ax = R"("ax":{"N":"1.5"})";
    const std::string id = R"("id":{"S":"a\"b"})";
    expectSame("items", key, "", ax + ',' + id);
    expectSame("items", key, R"(,"a":{"S":"é"},"b":{"N":"017"},"j":{"S":""})",
               R"("a":{"S":"é"},)" + ax + R"(,"b":{"N":"17"},)" + id + R"(,"j":{"S":""})");
    expectSame("items", key, R"(,"a":{"S":"\\"},"z":{"L":[{"BOOL":true}]})",
               R"("a":{"S":"\\"},)" + ax + ',' + id + R"(,"z":{"L":[{"BOOL":true}]})");
    expectSame("numbers", R"("id":{"N":"-0.25"})", R"(,"j":{"N":"1e3"})", R"("id":{"N":"-0.25"},"j":{"N":"1000"})");
    expectSame("bytes", R"("ax":{"S":"\u00ff"},"id":{"B":"AP8="})", R"(,"b":{"S":"x"})",
               R"("ax":{"S":"ÿ"},"b":{"S":"x"},"id":{"B":"AP8="})");
}

TEST_F(ApiItemSteps, OtherOperationsHaveNone)
{
    for (const char* operation : {"UpdateItem", "Query", "Scan", "BatchGetItem", "ListTables", "Nonsense"})
        EXPECT_EQ(service_->prepare(operation, "127.0.0.1"), nullptr) << operation;
}

TEST_F(ApiItemSteps, WhatNeedsMoreThanOneExchangeWaits)
{
    const std::string conditional = body(item("a", "1") + OnlyIfAbsent);
    EXPECT_EQ(begin("PutItem", conditional), Request::Step::Wait) << "the table is not known";
    EXPECT_EQ(request_->answer().body, "{}");
    EXPECT_EQ(begin("PutItem", conditional), Request::Step::Wait);
    EXPECT_EQ(request_->answer().status, 400);
    EXPECT_EQ(begin("DeleteItem", body(key("a", "1") + R"(,"ReturnValues":"ALL_OLD")")), Request::Step::Wait);
    EXPECT_EQ(canonical(request_->answer().body.toStdString()), R"({"Attributes":{"ax":{"N":"1"},"id":{"S":"a"}}})");
    EXPECT_EQ(attributesOf("a", "1"), "none");
}

TEST_F(ApiItemSteps, RefusalIsThatOfAnswer)
{
    (void)done("GetItem", body(key("a", "1")));
    for (const std::string& wrong :
         {std::string("{"), std::string(R"({"TableName":1})"), std::string("{}"), body(R"("Key":{"id":{"S":"a"}})"),
          body(key("a", "1") + R"(,"ProjectionExpression":",")")}) {
        ASSERT_EQ(begin("GetItem", wrong), Request::Step::Reply) << wrong;
        const Api::Reply expected = call("GetItem", wrong);
        EXPECT_EQ(expected.status, 400);
        EXPECT_EQ(request_->refusal().status, 400);
        EXPECT_EQ(request_->refusal().body, expected.body);
    }
}

TEST_F(ApiItemSteps, BodyHasToBeUtf8)
{
    (void)done("GetItem", body(key("a", "1")));
    for (const char* bytes : {"\xff", "\xc0\x80", "\xed\xa0\x80", "\xf4\x90\x80\x80", "\xe2\x82", "\x80"}) {
        ASSERT_EQ(begin("PutItem", put(bytes, "1")), Request::Step::Reply) << bytes;
        EXPECT_TRUE(request_->refusal().body.contains("#SerializationException"))
            << request_->refusal().body.toStdString();
    }
    EXPECT_EQ(begin("PutItem", put("\xf4\x8f\xbf\xbf\xe2\x82\xac\xed\x9f\xbf", "1")), Request::Step::Exchange);
}

TEST_F(ApiItemSteps, TableThatIsGoneMeanwhileIsNotFound)
{
    (void)done("GetItem", body(key("a", "1")));
    ASSERT_EQ(begin("PutItem", put("a", "1")), Request::Step::Exchange);
    (void)done("DeleteTable", R"({"TableName":"items"})");
    const Api::Reply reply = finish(request_->call());
    EXPECT_EQ(reply.status, 400);
    EXPECT_TRUE(reply.body.contains("#ResourceNotFoundException")) << reply.body.toStdString();
}

TEST_F(ApiItemSteps, WithoutAReplyTheRequestFailsAsAnswerDoes)
{
    (void)done("GetItem", body(key("a", "1")));
    ASSERT_EQ(begin("PutItem", put("a", "1")), Request::Step::Exchange);
    const Api::Reply lost = request_->finish(Client::ExchangeResult::Lost, {}, QStringLiteral("why"));
    EXPECT_EQ(lost.status, 500);
    EXPECT_TRUE(lost.body.contains("No reply was received, the request may have been executed: why"))
        << lost.body.toStdString();
}
