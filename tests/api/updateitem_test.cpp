#include "itemfixture.h"

namespace {

class ApiUpdate : public ApiItems {
protected:
    /** The reply to an update of the item "a", 1. */
    std::string update(const std::string& expression, const std::string& values = "",
                       const std::string& rest = "") const
    {
        return done("UpdateItem",
                    body(key("a", "1") + R"(,"UpdateExpression":")" + expression + '"' +
                         (values.empty() ? "" : ",\"ExpressionAttributeValues\":{" + values + '}') + rest));
    }
    static std::string returning(const std::string& values) { return R"(,"ReturnValues":")" + values + '"'; }
};

} // namespace

TEST_F(ApiUpdate, MakesAnItemAndChangesIt)
{
    EXPECT_EQ(update("SET n = :n", R"(":n":{"N":"1"})"), "{}");
    EXPECT_EQ(attributesOf("a", "1"), R"({"n":{"N":"1"}})");
    EXPECT_EQ(update("SET n = n + :n, s = if_not_exists(s, :s) ADD c :n", R"(":n":{"N":"0.5"},":s":{"S":"x"})"), "{}");
    EXPECT_EQ(attributesOf("a", "1"), R"({"c":{"N":"0.5"},"n":{"N":"1.5"},"s":{"S":"x"}})");
    EXPECT_EQ(done("UpdateItem", body(key("a", "2"))), "{}") << "an update without changes makes an item of its keys";
    EXPECT_EQ(attributesOf("a", "2"), "{}");
}

TEST_F(ApiUpdate, ReturnsTheItemBeforeOrAfter)
{
    const std::string keys = R"("ax":{"N":"1"},"id":{"S":"a"})";
    EXPECT_EQ(update("SET n = :n", R"(":n":{"N":"1"})", returning("ALL_OLD")), "{}");
    EXPECT_EQ(update("SET n = :n", R"(":n":{"N":"2"})", returning("ALL_OLD")),
              R"({"Attributes":{)" + keys + R"(,"n":{"N":"1"}}})");
    EXPECT_EQ(update("SET n = :n", R"(":n":{"N":"3"})", returning("ALL_NEW")),
              R"({"Attributes":{)" + keys + R"(,"n":{"N":"3"}}})");
    EXPECT_EQ(update("SET n = :n", R"(":n":{"N":"4"})", returning("NONE")), "{}");
}

TEST_F(ApiUpdate, ReturnsTheChangedPlacesBeforeOrAfter)
{
    (void)update("SET m = :m, n = :n, l = :l",
                 R"(":m":{"M":{"x":{"N":"1"},"y":{"N":"2"}}},":n":{"N":"5"},":l":{"L":[{"S":"a"},{"S":"b"}]})");
    EXPECT_EQ(update("SET m.x = :x, m.z = :x, l[1] = :x REMOVE n", R"(":x":{"N":"7"})", returning("UPDATED_NEW")),
              R"({"Attributes":{"l":{"L":[{"N":"7"}]},"m":{"M":{"x":{"N":"7"},"z":{"N":"7"}}}}})");
    EXPECT_EQ(update("SET m.x = :x, n = :x REMOVE m.z", R"(":x":{"N":"8"})", returning("UPDATED_OLD")),
              R"({"Attributes":{"m":{"M":{"x":{"N":"7"},"z":{"N":"7"}}}}})");
    EXPECT_EQ(update("REMOVE nope", "", returning("UPDATED_NEW")), "{}");
}

TEST_F(ApiUpdate, TakesTheOlderParameters)
{
    const std::string updates = R"(,"AttributeUpdates":{"n":{"Action":"ADD","Value":{"N":"2.5"}},)"
                                R"("s":{"Value":{"S":"x"}}},"ReturnValues":"UPDATED_NEW")";
    EXPECT_EQ(done("UpdateItem", body(key("a", "1") + updates)), R"({"Attributes":{"n":{"N":"2.5"},"s":{"S":"x"}}})");
    EXPECT_EQ(done("UpdateItem", body(key("a", "1") + updates)), R"({"Attributes":{"n":{"N":"5"},"s":{"S":"x"}}})");
    const std::string deletion = R"(,"AttributeUpdates":{"s":{"Action":"DELETE"}},"ReturnValues":"ALL_NEW")";
    EXPECT_EQ(done("UpdateItem", body(key("a", "1") + deletion)),
              R"({"Attributes":{"ax":{"N":"1"},"id":{"S":"a"},"n":{"N":"5"}}})");
    EXPECT_EQ(done("UpdateItem", body(key("b", "1") + deletion)), "{}");
    EXPECT_EQ(attributesOf("b", "1"), "none") << "deleting attributes makes no item";
}

TEST_F(ApiUpdate, ChecksItsConditionAgainstTheItem)
{
    const std::string rest = R"-(,"ConditionExpression":"attribute_exists(n)")-";
    EXPECT_EQ(failed("UpdateItem", body(key("a", "1") + R"(,"UpdateExpression":"REMOVE x")" + rest)),
              "ConditionalCheckFailedException: The conditional request failed");
    EXPECT_EQ(attributesOf("a", "1"), "none");
    (void)update("SET n = :n", R"(":n":{"N":"1"})");
    EXPECT_EQ(update("SET n = n - :n", R"(":n":{"N":"1"})", rest), "{}");
    EXPECT_EQ(attributesOf("a", "1"), R"({"n":{"N":"0"}})");
}

TEST_F(ApiUpdate, RefusesWhatItCannotChange)
{
    const std::string invalid = "ValidationException: ";
    const auto refused = [&](const std::string& expression, const std::string& values = R"(":n":{"N":"1"})") {
        return failed("UpdateItem", body(key("a", "1") + R"(,"UpdateExpression":")" + expression +
                                         R"(","ExpressionAttributeValues":{)" + values + '}'));
    };
    EXPECT_EQ(refused("SET id = :n"), invalid +
                                          "One or more parameter values were invalid: Cannot update attribute id. "
                                          "This attribute is part of the key");
    EXPECT_EQ(refused("SET x = y + :n"),
              invalid + "The provided expression refers to an attribute that does not exist in the item");
    EXPECT_EQ(refused("SET x.y = :n"), invalid + "The document path provided in the update expression is invalid for "
                                                 "update");
    EXPECT_EQ(attributesOf("a", "1"), "none");
}

TEST_F(ApiUpdate, ReportsWhatItWouldConsume)
{
    const std::string table = R"("TableName":"items")";
    EXPECT_EQ(done("PutItem", body(item("a", "1", R"("x":{"S":")" + std::string(3000, 'x') + "\"}") +
                                   R"(,"ReturnConsumedCapacity":"TOTAL")")),
              R"({"ConsumedCapacity":{"CapacityUnits":3.0,)" + table + "}}");
    EXPECT_EQ(update("SET y = :y", R"(":y":{"N":"1"})", R"(,"ReturnConsumedCapacity":"INDEXES")"),
              R"({"ConsumedCapacity":{"CapacityUnits":3.0,"Table":{"CapacityUnits":3.0},)" + table + "}}");
    EXPECT_EQ(parsed(done("GetItem", body(key("a", "1") + R"(,"ReturnConsumedCapacity":"TOTAL")")))
                  .value("ConsumedCapacity")
                  .toMap()
                  .value("CapacityUnits"),
              QVariant(0.5));
    EXPECT_EQ(
        parsed(done("GetItem", body(key("a", "1") + R"(,"ConsistentRead":true,"ReturnConsumedCapacity":"TOTAL")")))
            .value("ConsumedCapacity")
            .toMap()
            .value("CapacityUnits"),
        QVariant(1.0));
    EXPECT_EQ(done("DeleteItem", body(key("none", "1") + R"(,"ReturnConsumedCapacity":"TOTAL",)"
                                                         R"("ReturnItemCollectionMetrics":"SIZE")")),
              R"({"ConsumedCapacity":{"CapacityUnits":1.0,)" + table + "}}")
        << "only tables with local indexes have metrics of collections";
}

TEST_F(ApiUpdate, ReplacingAndDeletingConsumeWhatTheOldItemTakes)
{
    const std::string wanted = R"(,"ReturnConsumedCapacity":"TOTAL")";
    const std::string large = item("a", "1", R"("x":{"S":")" + std::string(3000, 'x') + "\"}");
    const std::string onlyIfPresent = R"-(,"ConditionExpression":"attribute_exists(id)")-";
    const auto unitsOf = [&](const std::string& operation, const std::string& request) {
        return parsed(done(operation, request)).value("ConsumedCapacity").toMap().value("CapacityUnits").toDouble();
    };
    const auto batchUnits = [&](const std::string& write) {
        const QVariantMap reply =
            parsed(done("BatchWriteItem", R"({"RequestItems":{"items":[)" + write + "]}" + wanted + '}'));
        return reply.value("ConsumedCapacity").toList().value(0).toMap().value("CapacityUnits").toDouble();
    };
    for (const std::string& condition : {std::string(), onlyIfPresent}) {
        (void)done("PutItem", body(large));
        EXPECT_EQ(unitsOf("PutItem", body(item("a", "1") + wanted + condition)), 3) << condition;
        EXPECT_EQ(unitsOf("PutItem", body(item("a", "1") + wanted + condition)), 1) << condition;
        (void)done("PutItem", body(large));
        EXPECT_EQ(unitsOf("DeleteItem", body(key("a", "1") + wanted + condition)), 3) << condition;
        EXPECT_EQ(attributesOf("a", "1"), "none");
    }
    EXPECT_EQ(unitsOf("DeleteItem", body(key("a", "1") + wanted)), 1);
    (void)done("PutItem", body(large));
    EXPECT_EQ(batchUnits("{\"PutRequest\":{" + item("a", "1") + "}}"), 3);
    (void)done("PutItem", body(large));
    EXPECT_EQ(batchUnits("{\"DeleteRequest\":{" + key("a", "1") + "}},{\"DeleteRequest\":{" + key("b", "1") + "}}"), 4);
    EXPECT_EQ(attributesOf("a", "1"), "none");
}
