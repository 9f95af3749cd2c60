#include "itemfixture.h"

namespace {

const std::string AllTypes =
    R"("a":{"S":"größer \u0000 ✓ 𝄞"},"b":{"N":"-12345678901234567890123456789012345678E+5"},"c":{"B":"AP8="},)"
    R"("d":{"BOOL":false},"e":{"NULL":true},"f":{"M":{"x":{"L":[{"N":"1.50"},{"M":{}}]}}},"g":{"L":[]},)"
    R"("h":{"SS":["b","a"]},"i":{"NS":["10","9","1e0"]},"j":{"BS":["Ag==","AQ=="]},"größe":{"S":""}})";

} // namespace

TEST_F(ApiItems, PutItemStoresAllTypes)
{
    EXPECT_EQ(done("PutItem", put("a", "1", AllTypes.substr(0, AllTypes.size() - 1))), "{}");
    EXPECT_EQ(attributesOf("a", "1"),
              canonical(R"({"a":{"S":"größer \u0000 ✓ 𝄞"},"b":{"N":"-1234567890123456789012345678901234567800000"},)"
                        R"("c":{"B":"AP8="},"d":{"BOOL":false},"e":{"NULL":true},)"
                        R"("f":{"M":{"x":{"L":[{"N":"1.5"},{"M":{}}]}}},"g":{"L":[]},"h":{"SS":["a","b"]},)"
                        R"("i":{"NS":["1","9","10"]},"j":{"BS":["AQ==","Ag=="]},"größe":{"S":""}})"));
}

TEST_F(ApiItems, PutItemReplacesAndReturnsTheOldItem)
{
    const std::string old = R"(,"ReturnValues":"ALL_OLD"})";
    const auto replace = [&](const std::string& attributes) {
        std::string text = put("a", "1", attributes);
        return done("PutItem", text.substr(0, text.size() - 1) + old);
    };
    EXPECT_EQ(replace(""), "{}");
    EXPECT_EQ(replace(R"("n":{"N":"1"})"), R"({"Attributes":{"ax":{"N":"1"},"id":{"S":"a"}}})")
        << "an item of keys alone is an item";
    EXPECT_EQ(replace(R"("m":{"N":"2"})"), R"({"Attributes":{"ax":{"N":"1"},"id":{"S":"a"},"n":{"N":"1"}}})");
    EXPECT_EQ(attributesOf("a", "1"), R"({"m":{"N":"2"}})");
}

TEST_F(ApiItems, PutItemGoesStraightToTheServerUnlessItHasACondition)
{
    (void)done("PutItem", put("a", "1")); // the table is known then
    int before = exchanges_;
    (void)done("PutItem", put("a", "1", R"("n":{"N":"1"})"));
    EXPECT_EQ(exchanges_ - before, 1);
    before = exchanges_;
    (void)done("GetItem", body(key("a", "1")));
    EXPECT_EQ(exchanges_ - before, 1);
    before = exchanges_;
    (void)done("PutItem", body(item("a", "2") + R"-(,"ConditionExpression":"attribute_not_exists(id)")-"));
    EXPECT_EQ(exchanges_ - before, 1) << "that there is none is what it expects at first";
    before = exchanges_;
    (void)done("DeleteItem", body(key("a", "1")));
    EXPECT_EQ(exchanges_ - before, 1);
}

TEST_F(ApiItems, PutItemChecksItsConditionAgainstTheItem)
{
    const std::string absent = R"-(,"ConditionExpression":"attribute_not_exists(id)")-";
    EXPECT_EQ(done("PutItem", body(item("a", "1", R"("n":{"N":"1"})") + absent)), "{}");
    EXPECT_EQ(failed("PutItem", body(item("a", "1", R"("n":{"N":"2"})") + absent)),
              "ConditionalCheckFailedException: The conditional request failed");
    EXPECT_EQ(attributesOf("a", "1"), R"({"n":{"N":"1"}})");

    const std::string isOne = R"(,"ConditionExpression":"n = :n","ExpressionAttributeValues":{":n":{"N":"1.0"}})";
    EXPECT_EQ(done("PutItem", body(item("a", "1", R"("n":{"N":"2"})") + isOne)), "{}");
    EXPECT_EQ(failed("PutItem", body(item("a", "2") + isOne)),
              "ConditionalCheckFailedException: The conditional request failed");
    EXPECT_EQ(attributesOf("a", "2"), "none");

    const std::string older = R"(,"Expected":{"n":{"Value":{"N":"2"}}})";
    EXPECT_EQ(done("PutItem", body(item("a", "1", R"("n":{"N":"3"})") + older)), "{}");
    EXPECT_EQ(failed("PutItem", body(item("a", "1", R"("n":{"N":"3"})") + older)),
              "ConditionalCheckFailedException: The conditional request failed");
}

TEST_F(ApiItems, AFailedConditionShowsTheItemIfAskedTo)
{
    (void)done("PutItem", put("a", "1", R"("n":{"N":"1"})"));
    const std::string condition = R"(,"ConditionExpression":"n > :n","ExpressionAttributeValues":{":n":{"N":"5"}},)"
                                  R"("ReturnValuesOnConditionCheckFailure":"ALL_OLD")";
    const std::string type = "com.amazonaws.dynamodb.v20120810#ConditionalCheckFailedException";
    const auto reply = [&](const std::string& rest) {
        return R"({"__type":")" + type + R"(","message":"The conditional request failed")" + rest + '}';
    };
    const std::string itemText = R"(,"Item":{"ax":{"N":"1"},"id":{"S":"a"},"n":{"N":"1"}})";
    EXPECT_EQ(call("PutItem", body(item("a", "1") + condition)).body.toStdString(), reply(itemText));
    EXPECT_EQ(call("DeleteItem", body(key("a", "1") + condition)).body.toStdString(), reply(itemText));
    const std::string update = key("a", "1") + R"(,"UpdateExpression":"REMOVE n")" + condition;
    EXPECT_EQ(call("UpdateItem", body(update)).body.toStdString(), reply(itemText));
    EXPECT_EQ(call("DeleteItem", body(key("b", "1") + condition)).body.toStdString(), reply(""));
}

TEST_F(ApiItems, PutItemChecksTheKeysOfTheItem)
{
    const std::string invalid = "ValidationException: One or more parameter values were invalid: ";
    EXPECT_EQ(failed("PutItem", body(R"("Item":{"ax":{"N":"1"}})")), invalid + "Missing the key id in the item");
    EXPECT_EQ(failed("PutItem", body(R"("Item":{"id":{"S":"a"}})")), invalid + "Missing the key ax in the item");
    EXPECT_EQ(failed("PutItem", body(R"("Item":{"id":{"N":"1"},"ax":{"N":"1"}})")),
              invalid + "Type mismatch for key id expected: S actual: N");
    EXPECT_EQ(failed("PutItem", body(R"("Item":{"id":{"S":"a"},"ax":{"SS":["1"]}})")),
              invalid + "Type mismatch for key ax expected: N actual: SS");
    EXPECT_EQ(failed("PutItem", put("", "1")),
              "ValidationException: One or more parameter values are not valid. The AttributeValue for a key attribute "
              "cannot contain an empty string value. Key: id");
    EXPECT_EQ(done("PutItem", put(std::string(2048, 'k'), "1")), "{}");
    EXPECT_EQ(failed("PutItem", put(std::string(2049, 'k'), "1")),
              invalid + "Size of hashkey has exceeded the maximum size limit of2048 bytes");
}

TEST_F(ApiItems, AKeyHasExactlyTheKeyAttributes)
{
    const std::string wrong = "ValidationException: The provided key element does not match the schema";
    for (const char* keys :
         {R"({"id":{"S":"a"}})", R"({"id":{"S":"a"},"ax":{"S":"1"}})", R"({"id":{"S":"a"},"att":{"N":"1"}})",
          R"({"id":{"S":"a"},"ax":{"N":"1"},"x":{"N":"1"}})", "{}"}) {
        const std::string text = body(std::string("\"Key\":") + keys);
        EXPECT_EQ(failed("GetItem", text), wrong) << keys;
        EXPECT_EQ(failed("DeleteItem", text), wrong) << keys;
        EXPECT_EQ(failed("UpdateItem", text), wrong) << keys;
    }
    EXPECT_EQ(failed("GetItem", body(key("", "1"))),
              "ValidationException: One or more parameter values are not valid. The AttributeValue for a key attribute "
              "cannot contain an empty string value. Key: id");
}

TEST_F(ApiItems, ItemsHaveAtMost400Kilobytes)
{
    const std::size_t others = 2 + 1 + 2 + 2 + 1; // "id" and "a", "ax" and 1, "x"
    const std::string largest(400 * 1024 - others, 'x');
    EXPECT_EQ(done("PutItem", put("a", "1", R"("x":{"S":")" + largest + "\"}")), "{}");
    EXPECT_EQ(attributesOf("a", "1"), R"({"x":{"S":")" + largest + "\"}}");
    EXPECT_EQ(failed("PutItem", put("a", "1", R"("x":{"S":")" + largest + "x\"}")),
              "ValidationException: Item size has exceeded the maximum allowed size");
    const std::string append = key("a", "1") + R"(,"UpdateExpression":"SET y = :y",)"
                                               R"("ExpressionAttributeValues":{":y":{"S":""}})";
    EXPECT_EQ(failed("UpdateItem", body(append)),
              "ValidationException: Item size to update has exceeded the maximum allowed size");
}

TEST_F(ApiItems, UnknownTablesAreNotFound)
{
    const std::string name = R"({"TableName":"nothing",)";
    const std::string error = "ResourceNotFoundException: Requested resource not found";
    EXPECT_EQ(failed("PutItem", name + item("a", "1") + '}'), error);
    EXPECT_EQ(failed("GetItem", name + key("a", "1") + '}'), error);
    EXPECT_EQ(failed("DeleteItem", name + key("a", "1") + '}'), error);
    EXPECT_EQ(failed("UpdateItem", name + key("a", "1") + '}'), error);
    EXPECT_EQ(failed("Scan", R"({"TableName":"nothing"})"), error);
}

TEST_F(ApiItems, WritesReturnWhatTheyCan)
{
    for (const char* values : {"UPDATED_OLD", "UPDATED_NEW", "ALL_NEW"}) {
        const std::string rest = std::string(R"(,"ReturnValues":")") + values + '"';
        EXPECT_EQ(failed("PutItem", body(item("a", "1") + rest)),
                  "ValidationException: ReturnValues can only be ALL_OLD or NONE");
        EXPECT_EQ(failed("DeleteItem", body(key("a", "1") + rest)),
                  "ValidationException: ReturnValues can only be ALL_OLD or NONE");
    }
    (void)done("PutItem", put("a", "1", R"("n":{"N":"1"})"));
    const std::string old = body(key("a", "1") + R"(,"ReturnValues":"ALL_OLD")");
    EXPECT_EQ(done("DeleteItem", old), R"({"Attributes":{"ax":{"N":"1"},"id":{"S":"a"},"n":{"N":"1"}}})");
    EXPECT_EQ(done("DeleteItem", old), "{}");
    EXPECT_EQ(attributesOf("a", "1"), "none");
}

TEST_F(ApiItems, GetItemProjects)
{
    (void)done("PutItem", put("a", "1", R"("m":{"M":{"x":{"L":[{"N":"1"},{"N":"2"}]},"y":{"N":"3"}}})"));
    EXPECT_EQ(done("GetItem", body(key("a", "1") + R"(,"ProjectionExpression":"m.x[1], id")")),
              R"({"Item":{"id":{"S":"a"},"m":{"M":{"x":{"L":[{"N":"2"}]}}}}})");
    EXPECT_EQ(done("GetItem", body(key("a", "1") + R"(,"AttributesToGet":["ax","none"])")),
              R"({"Item":{"ax":{"N":"1"}}})");
    EXPECT_EQ(done("GetItem", body(key("a", "2"))), "{}");
}
