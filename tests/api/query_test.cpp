#include "itemfixture.h"

#include <algorithm>
#include <functional>
#include <vector>

namespace {

/** Queries one hash key in tables of all types of range keys, and compares with what a list of the keys says. */
class ApiQuery : public ApiItems {
protected:
    /** A value's JSON, in the order of the values. */
    using Values = std::vector<std::string>;

    void fill(const std::string& table, const Values& values)
    {
        for (const char* id : {"a", "b", "c"}) { // so that there are neighbours on both sides
            for (const std::string& value : values)
                (void)done("PutItem", R"({"TableName":")" + table + R"(","Item":{"id":{"S":")" + id + R"("},"ax":)" +
                                          value + "}}");
        }
    }

    /** The range keys that all pages have. */
    Values read(const std::string& table, const std::string& condition, const std::string& values,
                const std::string& rest = "") const
    {
        Values found;
        std::string start;
        for (int page = 0; page < 100; ++page) {
            const QVariantMap reply = parsed(done(
                "Query", R"({"TableName":")" + table + R"(","KeyConditionExpression":"id = :id)" + condition +
                             R"(","ExpressionAttributeValues":{":id":{"S":"b"})" + values + '}' + rest + start + '}'));
            for (const QVariant& item : reply.value("Items").toList()) {
                EXPECT_EQ(item.toMap().value("id").toMap().value("S"), QVariant("b"));
                found.push_back(Json::serialize(item.toMap().value("ax")).toStdString());
            }
            EXPECT_EQ(reply.value("Count"), reply.value("ScannedCount"));
            EXPECT_EQ(reply.value("Count").toInt(), reply.value("Items").toList().size());
            if (!reply.contains("LastEvaluatedKey"))
                return found;
            start = ",\"ExclusiveStartKey\":" + Json::serialize(reply.value("LastEvaluatedKey")).toStdString();
        }
        ADD_FAILURE() << "the pages do not end: " << condition;
        return found;
    }

    /** Reads in both directions, in pages of all kinds. */
    void expectRange(const std::string& table, const std::string& condition, const std::string& values, Values expected)
    {
        for (const bool forward : {true, false}) {
            const std::string direction = forward ? "" : R"(,"ScanIndexForward":false)";
            for (const char* limit : {"", R"(,"Limit":1)", R"(,"Limit":2)", R"(,"Limit":100)"})
                EXPECT_EQ(read(table, condition, values, direction + limit), expected)
                    << table << condition << values << direction << limit;
            std::reverse(expected.begin(), expected.end());
        }
    }

    void expectAllConditions(const std::string& table, const Values& all, const Values& bounds)
    {
        const auto part = [&](const std::function<bool(std::size_t)>& isIn) {
            Values found;
            for (std::size_t i = 0; i < all.size(); ++i) {
                if (isIn(i))
                    found.push_back(all[i]);
            }
            return found;
        };
        expectRange(table, "", "", all);
        for (const std::string& bound : bounds) {
            const auto at = static_cast<std::size_t>(std::find(all.begin(), all.end(), bound) - all.begin());
            const std::string value = ",\":v\":" + bound;
            expectRange(table, " AND ax = :v", value, part([&](std::size_t i) { return i == at; }));
            expectRange(table, " AND ax < :v", value, part([&](std::size_t i) { return i < at; }));
            expectRange(table, " AND ax <= :v", value, part([&](std::size_t i) { return i <= at; }));
            expectRange(table, " AND ax > :v", value, part([&](std::size_t i) { return i > at; }));
            expectRange(table, " AND ax >= :v", value, part([&](std::size_t i) { return i >= at; }));
            expectRange(table, " AND ax BETWEEN :w AND :v", value + ",\":w\":" + all[1],
                        part([&](std::size_t i) { return i >= 1 && i <= at; }));
        }
    }
};

} // namespace

TEST_F(ApiQuery, FindsNumbersInBothDirections)
{
    const Values all{R"({"N":"-1000000"})", R"({"N":"-1.5"})", R"({"N":"-0.001"})", R"({"N":"0"})",
                     R"({"N":"0.001"})",    R"({"N":"9"})",    R"({"N":"10"})"};
    fill("items", all);
    expectAllConditions("items", all, {all[1], all[3], all[5]});
}

TEST_F(ApiQuery, FindsStringsInBothDirections)
{
    createTable("strings", "S", "S");
    const Values all{R"({"S":"A"})",  R"({"S":"a"})",  R"({"S":"a\u0000"})", R"({"S":"ab"})",
                     R"({"S":"aé"})", R"({"S":"a𝄞"})", R"({"S":"b"})"};
    fill("strings", {all.begin(), all.end()});
    Values canonical = all;
    expectAllConditions("strings", canonical, {all[1], all[3], all[6]});
    expectRange("strings", " AND begins_with(ax, :v)", R"(,":v":{"S":"a"})",
                {canonical.begin() + 1, canonical.end() - 1});
    expectRange("strings", " AND begins_with(ax, :v)", R"(,":v":{"S":"aé"})", {canonical[4]});
    expectRange("strings", " AND begins_with(ax, :v)", R"(,":v":{"S":"x"})", {});
}

TEST_F(ApiQuery, FindsBinariesInBothDirections)
{
    createTable("binaries", "S", "B");
    const Values all{R"({"B":"AA=="})", R"({"B":"AAE="})", R"({"B":"fw=="})", R"({"B":"/v8="})",
                     R"({"B":"/w=="})", R"({"B":"//8="})", R"({"B":"////"})"};
    fill("binaries", all);
    expectAllConditions("binaries", all, {all[1], all[4], all[5]});
    expectRange("binaries", " AND begins_with(ax, :v)", R"(,":v":{"B":"AA=="})", {all[0], all[1]});
    expectRange("binaries", " AND begins_with(ax, :v)", R"(,":v":{"B":"/w=="})", {all[4], all[5], all[6]});
}

TEST_F(ApiQuery, ContinuesFromAKeyWhoseItemIsGone)
{
    const Values all{R"({"N":"1"})", R"({"N":"2"})", R"({"N":"3"})", R"({"N":"4"})"};
    fill("items", all);
    (void)done("DeleteItem", body(key("b", "2")));
    const std::string start = R"(,"ExclusiveStartKey":{"id":{"S":"b"},"ax":{"N":"2"}})";
    for (const char* limit : {"", R"(,"Limit":1)"}) {
        const std::string query = R"({"TableName":"items","KeyConditionExpression":"id = :id",)"
                                  R"("ExpressionAttributeValues":{":id":{"S":"b"}})" +
                                  start + limit;
        const auto first = [&](const std::string& rest) {
            return Json::serialize(
                       parsed(done("Query", query + rest)).value("Items").toList().value(0).toMap().value("ax"))
                .toStdString();
        };
        EXPECT_EQ(first("}"), all[2]) << limit;
        EXPECT_EQ(first(R"(,"ScanIndexForward":false})"), all[0]) << limit;
    }
}

TEST_F(ApiQuery, RefusesStartKeysOutsideOfItsRange)
{
    const auto refused = [&](const std::string& start) {
        return failed("Query", body(R"("KeyConditionExpression":"id = :id AND ax > :v","ExpressionAttributeValues":)"
                                    R"({":id":{"S":"b"},":v":{"N":"5"}},"ExclusiveStartKey":)" +
                                    start));
    };
    EXPECT_EQ(refused('{' + keyText("a", "6") + '}'), "ValidationException: The provided starting key is outside query "
                                                      "boundaries based on provided conditions");
    EXPECT_EQ(refused('{' + keyText("b", "5") + '}'),
              "ValidationException: The provided starting key does not match the range key predicate");
    EXPECT_EQ(refused(R"({"id":{"S":"b"}})"), "ValidationException: The provided starting key is invalid: The provided "
                                              "key element does not match the schema");
    EXPECT_EQ(refused(R"({"id":{"S":"b"},"ax":{"S":"6"}})"),
              "ValidationException: The provided starting key is invalid: The provided key element does not match the "
              "schema");
}

TEST_F(ApiQuery, RefusesPrefixesThatNoKeyHas)
{
    createTable("strings", "S", "S");
    const auto refused = [&](const std::string& condition, const std::string& value) {
        return failed("Query", R"({"TableName":"strings","KeyConditionExpression":"id = :id AND )" + condition +
                                   R"(","ExpressionAttributeValues":{":id":{"S":"b"},":v":{"S":")" + value + "\"}}}");
    };
    const std::string longest(1024, 'x');
    for (const std::string condition : {"begins_with(ax, :v)", "ax > :v"}) {
        EXPECT_EQ(refused(condition, ""),
                  "ValidationException: One or more parameter values are not valid. The AttributeValue for a key "
                  "attribute cannot contain an empty string value. Key: ax");
        EXPECT_EQ(refused(condition, longest + "x"),
                  "ValidationException: One or more parameter values were invalid: Aggregated size of all range keys "
                  "has exceeded the size limit of 1024 bytes");
    }
    fill("strings", {R"({"S":")" + longest + "\"}"});
    expectRange("strings", " AND begins_with(ax, :v)", R"(,":v":{"S":")" + longest + "\"}",
                {R"({"S":")" + longest + "\"}"});
}

TEST_F(ApiQuery, FiltersWhatTheLimitHasExamined)
{
    for (const char* at : {"1", "2", "3", "4"})
        (void)done("PutItem", put("b", at, std::string(R"("n":{"N":")") + at + "\"}"));
    const std::string filtered = R"("KeyConditionExpression":"id = :id","FilterExpression":"n >= :n",)"
                                 R"("ExpressionAttributeValues":{":id":{"S":"b"},":n":{"N":"3"}},"Limit":3)";
    EXPECT_EQ(done("Query", body(filtered)), R"({"Count":1,"Items":[{"ax":{"N":"3"},"id":{"S":"b"},"n":{"N":"3"}}],)"
                                             R"("LastEvaluatedKey":{"ax":{"N":"3"},"id":{"S":"b"}},"ScannedCount":3})");
    EXPECT_EQ(done("Query", body(filtered + R"(,"Select":"COUNT")")),
              R"({"Count":1,"LastEvaluatedKey":{"ax":{"N":"3"},"id":{"S":"b"}},"ScannedCount":3})");
    EXPECT_EQ(
        done("Query", body(R"("KeyConditions":{"id":{"ComparisonOperator":"EQ","AttributeValueList":[{"S":"b"}]},)"
                           R"("ax":{"ComparisonOperator":"GT","AttributeValueList":[{"N":"2"}]}},)"
                           R"("QueryFilter":{"n":{"ComparisonOperator":"NE","AttributeValueList":[{"N":"4"}]}},)"
                           R"("AttributesToGet":["n"])")),
        R"({"Count":1,"Items":[{"n":{"N":"3"}}],"ScannedCount":2})");
}

TEST_F(ApiQuery, PagesHaveAMegabyte)
{
    const std::string attribute = R"("x":{"S":")" + std::string(300'000, 'x') + "\"}";
    for (int at = 0; at < 5; ++at)
        (void)done("PutItem", put("b", std::to_string(at), attribute));
    const std::string query = R"("KeyConditionExpression":"id = :id","ExpressionAttributeValues":{":id":{"S":"b"}},)"
                              R"("ProjectionExpression":"ax")";
    EXPECT_EQ(done("Query", body(query)), R"({"Count":3,"Items":[{"ax":{"N":"0"}},{"ax":{"N":"1"}},{"ax":{"N":"2"}}],)"
                                          R"("LastEvaluatedKey":{"ax":{"N":"2"},"id":{"S":"b"}},"ScannedCount":3})");
    EXPECT_EQ(
        done("Query", body(query + R"(,"ScanIndexForward":false,"ExclusiveStartKey":{)" + keyText("b", "2") + '}')),
        R"({"Count":2,"Items":[{"ax":{"N":"1"}},{"ax":{"N":"0"}}],"ScannedCount":2})");
}

TEST_F(ApiQuery, AsksForAHashKeyOfTheTable)
{
    const std::string values = R"(,"ExpressionAttributeValues":{":v":{"S":"b"}})";
    EXPECT_EQ(failed("Query", body(R"("KeyConditionExpression":"nn = :v")" + values)),
              "ValidationException: Query condition missed key schema element: id");
    EXPECT_EQ(failed("Query", body(R"("KeyConditionExpression":"id = :v","IndexName":"none")" + values)),
              "ValidationException: The table does not have the specified index: none");
    EXPECT_EQ(failed("Query", body(R"("KeyConditionExpression":"id = :v","FilterExpression":"ax > :v")" + values)),
              "ValidationException: Filter Expression can only contain non-primary key attributes: Primary key "
              "attribute: ax");
}
