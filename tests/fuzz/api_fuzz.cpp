/*
 * Requests of the API of 2012-08-10 from outside get a reply of the API: an object, or an error with its type and a
 * message. The server behind it has one table with one item.
 *
 * The first byte of an input picks the operation; the rest is the body.
 */
#include "budget.h"
#include "choices.h"
#include "fuzztarget.h"
#include "items/json.h"

#include "api/service.h"

#include <array>
#include <string>

namespace {

constexpr std::array Operations{"BatchGetItem",  "BatchWriteItem", "CreateTable", "DeleteItem",  "DeleteTable",
                                "DescribeTable", "GetItem",        "ListTables",  "PutItem",     "Query",
                                "Scan",          "TagResource",    "UpdateItem",  "UpdateTable", "UntagResource"};

/** A table "main|orders" with the hash key "id" and the range key "at", a number. */
QByteArray serversReply(const QByteArray& operation)
{
    if (operation.endsWith(".ListTables"))
        return R"({"Directory":"main","Open":true,"Tables":[{"TableName":"main|orders","Files":1,"Bytes":8192,)"
               R"("KeySchema":{}}],"__rc":200,"__rcstr":"OK"})";
    if (operation.endsWith(".DescribeTable"))
        return R"({"Table":{"KeySchema":{"HashKeyElement":{"AttributeName":"id","AttributeType":"S"},)"
               R"("RangeKeyElement":{"AttributeName":"at","AttributeType":"S"}},"ProvisionedThroughput":)"
               R"({"V20120810":{"HashKeyType":"S","RangeKeyType":"N"}}},"__rc":200,"__rcstr":"OK"})";
    if (operation.endsWith(".GetItem"))
        return R"({"Item":{"n":{"N":"1"},"l":{"L":[]}},"__rc":200,"__rcstr":"OK"})";
    if (operation.endsWith(".Query") || operation.endsWith(".Scan"))
        return R"({"Count":1,"Items":[{"id":{"S":"a"},"at":{"S":"p1311"},"n":{"N":"1"}}],"__rc":200,"__rcstr":"OK"})";
    return R"({"__rc":200,"__rcstr":"OK"})";
}

Api::Service& service()
{
    static Api::Service service(
        [](const QByteArray& operation, const QByteArray&, QByteArray* reply, QString*) {
            *reply = serversReply(operation);
            return Client::ExchangeResult::Done;
        },
        {});
    return service;
}

bool isText(const Items::JsonValue& object, const char* name)
{
    const auto found = object.FindMember(name);
    return found != object.MemberEnd() && found->value.IsString() && found->value.GetStringLength() > 0;
}

void checkInput(const std::uint8_t* data, std::size_t size)
{
    Choices choices(data, size);
    const char* const operation = choices.of(Operations);
    const Api::Reply reply =
        service().answer(operation, "localhost", QByteArray::fromStdString(std::string(choices.rest())));
    if (reply.status == 200 && reply.body.isEmpty())
        return; // for tags there is none
    Items::JsonDocument answer;
    answer.Parse<rapidjson::kParseIterativeFlag | rapidjson::kParseValidateEncodingFlag>(
        reply.body.constData(), static_cast<std::size_t>(reply.body.size()));
    FUZZ_ASSERT(!answer.HasParseError() && answer.IsObject());
    FUZZ_ASSERT(reply.status == 200 || reply.status == 400 || reply.status == 500);
    if (reply.status != 200)
        FUZZ_ASSERT(isText(answer, "__type") && (isText(answer, "message") || isText(answer, "Message")));
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    withinBudget(size, [&] { checkInput(data, size); });
    return 0;
}
