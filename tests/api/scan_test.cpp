#include "itemfixture.h"

#include <set>
#include <vector>

namespace {

class ApiScan : public ApiItems {
protected:
    /** All items that the pages have, in their order, as text. */
    std::vector<std::string> readAll(const std::string& table, const std::string& rest) const
    {
        std::vector<std::string> found;
        std::string start;
        for (int page = 0; page < 1000; ++page) {
            const QVariantMap reply = parsed(done("Scan", R"({"TableName":")" + table + '"' + rest + start + '}'));
            for (const QVariant& item : reply.value("Items").toList())
                found.push_back(Json::serialize(item).toStdString());
            if (!reply.contains("LastEvaluatedKey"))
                return found;
            start = ",\"ExclusiveStartKey\":" + Json::serialize(reply.value("LastEvaluatedKey")).toStdString();
        }
        ADD_FAILURE() << "the pages do not end";
        return found;
    }
};

} // namespace

TEST_F(ApiScan, HasEachItemOnceInOneOrder)
{
    std::set<std::string> put;
    for (int id = 0; id < 10; ++id) {
        for (int at = -2; at < 3; ++at) {
            const std::string text = '{' + keyText("k" + std::to_string(id), std::to_string(at)) + '}';
            (void)done("PutItem", body("\"Item\":" + text));
            put.insert(canonical(text));
        }
    }
    const std::vector<std::string> all = readAll("items", "");
    EXPECT_EQ(std::set<std::string>(all.begin(), all.end()), put);
    EXPECT_EQ(all.size(), put.size());
    for (const char* limit : {"1", "7", "50", "51"})
        EXPECT_EQ(readAll("items", std::string(R"(,"Limit":)") + limit), all) << limit;
    EXPECT_EQ(readAll("items", R"(,"TotalSegments":1,"Segment":0,"Select":"ALL_ATTRIBUTES")"), all);
}

TEST_F(ApiScan, TablesWithAHashKeyAloneAreTheSame)
{
    createTable("numbers", "N", "");
    for (const char* id : {"-1.5", "0", "7"})
        (void)done("PutItem",
                   std::string(R"({"TableName":"numbers","Item":{"id":{"N":")") + id + R"("},"s":{"S":"x"}}})");
    const std::vector<std::string> all = readAll("numbers", "");
    EXPECT_EQ(std::set<std::string>(all.begin(), all.end()),
              (std::set<std::string>{R"({"id":{"N":"-1.5"},"s":{"S":"x"}})", R"({"id":{"N":"0"},"s":{"S":"x"}})",
                                     R"({"id":{"N":"7"},"s":{"S":"x"}})"}));
    EXPECT_EQ(readAll("numbers", R"(,"Limit":1)"), all);
    EXPECT_EQ(done("Query", R"({"TableName":"numbers","KeyConditionExpression":"id = :v",)"
                            R"("ExpressionAttributeValues":{":v":{"N":"7.0"}}})"),
              R"({"Count":1,"Items":[{"id":{"N":"7"},"s":{"S":"x"}}],"ScannedCount":1})");
}

TEST_F(ApiScan, FiltersProjectsAndCounts)
{
    for (const char* at : {"1", "2", "3"})
        (void)done("PutItem", put("a", at, std::string(R"("n":{"N":")") + at + "\"}"));
    const std::string last = R"("LastEvaluatedKey":{"ax":{"N":"3"},"id":{"S":"a"}},)";
    EXPECT_EQ(
        done("Scan", body(R"("FilterExpression":"n > :n OR ax = :n","ExpressionAttributeValues":{":n":{"N":"1"}},)"
                          R"("ProjectionExpression":"n")")),
        R"({"Count":3,"Items":[{"n":{"N":"1"}},{"n":{"N":"2"}},{"n":{"N":"3"}}],"ScannedCount":3})");
    EXPECT_EQ(done("Scan", body(R"("ScanFilter":{"n":{"ComparisonOperator":"GE","AttributeValueList":[{"N":"2"}]}},)"
                                R"("Select":"COUNT","Limit":3)")),
              R"({"Count":2,)" + last + R"("ScannedCount":3})")
        << "whether more follows has not been examined";
}

TEST_F(ApiScan, SelectFitsTheOtherParameters)
{
    const std::string invalid = "ValidationException: One or more parameter values were invalid: ";
    EXPECT_EQ(failed("Scan", body(R"("Select":"SPECIFIC_ATTRIBUTES")")),
              invalid + "Must specify the AttributesToGet or ProjectionExpression when choosing to get "
                        "SPECIFIC_ATTRIBUTES");
    EXPECT_EQ(failed("Scan", body(R"("Select":"ALL_PROJECTED_ATTRIBUTES")")),
              invalid + "ALL_PROJECTED_ATTRIBUTES can be used only when Querying using an IndexName");
    EXPECT_EQ(failed("Scan", body(R"("Select":"COUNT","ProjectionExpression":"n")")),
              invalid + "Cannot specify the ProjectionExpression when choosing to get only the Count");
    EXPECT_EQ(failed("Scan", body(R"("Select":"ALL_ATTRIBUTES","AttributesToGet":["n"])")),
              invalid + "Cannot specify the AttributesToGet when choosing to get ALL_ATTRIBUTES");
}

TEST_F(ApiScan, RefusesSeveralSegments)
{
    EXPECT_EQ(failed("Scan", body(R"("TotalSegments":2,"Segment":0)")),
              "ValidationException: Parallel scans are not supported: TotalSegments can only be 1");
    EXPECT_EQ(failed("Scan", body(R"("TotalSegments":1,"Segment":1)")),
              "ValidationException: The Segment parameter is zero-based and must be less than parameter TotalSegments: "
              "Segment: 1 is not less than TotalSegments: 1");
    EXPECT_EQ(failed("Scan", body(R"("Segment":1)")),
              "ValidationException: The TotalSegments parameter is required but was not present in the request when "
              "Segment parameter is present");
}
