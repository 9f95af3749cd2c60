#include "protocol/bodies.h"

#include "protocol/administration.h"
#include "json/jsontext.h"
#include "json/jsonwriter.h"

#include <gtest/gtest.h>

namespace {

std::string textOf(const QVariantMap& body)
{
    return Json::serialize(body).toStdString();
}

} // namespace

TEST(Bodies, OfTablesAndItems)
{
    EXPECT_EQ(textOf(Bodies::table("d|t")), R"({"TableName":"d|t"})");
    EXPECT_EQ(textOf(Bodies::createTable("d|t", "h", "r")),
              R"({"KeySchema":{"HashKeyElement":{"AttributeName":"h","AttributeType":"S"},)"
              R"("RangeKeyElement":{"AttributeName":"r","AttributeType":"S"}},"TableName":"d|t"})");
    EXPECT_EQ(textOf(Bodies::putItem("d|t", {{"a", Bodies::stringValue("x")}})),
              R"({"Item":{"a":{"S":"x"}},"TableName":"d|t"})");
    EXPECT_EQ(textOf(Bodies::itemByKey("d|t", "k", "1")),
              R"({"Key":{"HashKeyElement":{"S":"k"},"RangeKeyElement":{"S":"1"}},"TableName":"d|t"})");
    EXPECT_EQ(textOf(Bodies::updateItem("d|t", "k", "1", {{"a", Bodies::update(Bodies::UpdateDelete)}})),
              R"({"AttributeUpdates":{"a":{"Action":"DELETE"}},)"
              R"("Key":{"HashKeyElement":{"S":"k"},"RangeKeyElement":{"S":"1"}},"TableName":"d|t"})");
    EXPECT_EQ(textOf(Bodies::query("d|t", "k")), R"({"HashKeyValue":{"S":"k"},"TableName":"d|t"})");
}

TEST(Bodies, OfTheThroughputAndOfAdministrativeActions)
{
    QVariantMap body = Bodies::table("d|t");
    Bodies::setThroughput(2, 3, &body);
    EXPECT_EQ(textOf(body),
              R"({"ProvisionedThroughput":{"ReadCapacityUnits":2,"WriteCapacityUnits":3},"TableName":"d|t"})");
    EXPECT_EQ(textOf(Bodies::adminAction("d|t", AdminActions::StartBackup, "/b")),
              R"({"ProvisionedThroughput":{"DbBackup":"/b"},"TableName":"d|t"})");
    EXPECT_EQ(textOf(Bodies::adminAction("d|t", AdminActions::ShipLogs, "/b")),
              R"({"ProvisionedThroughput":{"UpdateDbBackup":"/b"},"TableName":"d|t"})");
    EXPECT_EQ(textOf(Bodies::adminAction("d|t", AdminActions::StopBackup, "")),
              R"({"ProvisionedThroughput":{"StopDbBackup":""},"TableName":"d|t"})");
    EXPECT_EQ(textOf(Bodies::adminAction("d|t", AdminActions::FlushLog, "")),
              R"({"ProvisionedThroughput":{"FlushDB":""},"TableName":"d|t"})");
}

TEST(Bodies, OfBatches)
{
    const QVariantMap item{{"a", Bodies::stringValue("x")}};
    const QVariant text = QVariant::fromValue(Json::RawText{R"({"a": {"S":"y"}})"});
    const QVariantList entries{Bodies::putRequest(item), Bodies::putRequest(text),
                               Bodies::deleteRequest(Bodies::key("k", "1"))};
    EXPECT_EQ(textOf(Bodies::batchWrite({{"d|t", entries}})),
              R"({"RequestItems":{"d|t":[{"PutRequest":{"Item":{"a":{"S":"x"}}}},)"
              R"({"PutRequest":{"Item":{"a": {"S":"y"}}}},)"
              R"({"DeleteRequest":{"Key":{"HashKeyElement":{"S":"k"},"RangeKeyElement":{"S":"1"}}}}]}})");
}

TEST(Bodies, OfPages)
{
    QVariantMap body = Bodies::query("d|t", "k");
    Bodies::setLimit(5, &body);
    Bodies::setCountOnly(&body);
    Bodies::setStartKey(Bodies::key("k", "1"), &body);
    Bodies::setForward(false, &body);
    Bodies::setRangeCondition(Bodies::condition(Bodies::Comparison::Less, {"9"}), &body);
    EXPECT_EQ(textOf(body),
              R"({"Count":true,"ExclusiveStartKey":{"HashKeyElement":{"S":"k"},"RangeKeyElement":{"S":"1"}},)"
              R"("HashKeyValue":{"S":"k"},"Limit":5,)"
              R"("RangeKeyCondition":{"AttributeValueList":[{"S":"9"}],"ComparisonOperator":"LT"},)"
              R"("ScanIndexForward":false,"TableName":"d|t"})");
    body = Bodies::table("d|t");
    Bodies::addScanFilter({{"r", Bodies::condition(Bodies::Comparison::Equal, {"1"})}}, &body);
    EXPECT_EQ(textOf(body), R"({"ScanFilter":{"r":{"AttributeValueList":[{"S":"1"}],"ComparisonOperator":"EQ"}},)"
                            R"("TableName":"d|t"})");
}

TEST(Bodies, OfUpdatesAndConditions)
{
    const QVariantMap value{{"N", "1"}};
    EXPECT_EQ(textOf(Bodies::update(Bodies::UpdatePut, value)), R"({"Action":"PUT","Value":{"N":"1"}})");
    EXPECT_EQ(textOf(Bodies::update(Bodies::UpdateAdd, value)), R"({"Action":"ADD","Value":{"N":"1"}})");
    EXPECT_EQ(textOf(Bodies::expectedValue(value)), R"({"Value":{"N":"1"}})");
    EXPECT_EQ(textOf(Bodies::expectedAbsence()), R"({"Exists":false})");
    EXPECT_EQ(textOf(Bodies::condition(Bodies::Comparison::Between, {"a", "b"})),
              R"({"AttributeValueList":[{"S":"a"},{"S":"b"}],"ComparisonOperator":"BETWEEN"})");
}

TEST(Bodies, OptionalMembersAreOmittedWhenTheyAreEmpty)
{
    QVariantMap body = Bodies::table("d|t");
    Bodies::addExpected({}, &body);
    Bodies::addAttributesToGet({}, &body);
    Bodies::addScanFilter({}, &body);
    EXPECT_EQ(body, Bodies::table("d|t"));
    Bodies::addExpected({{"a", Bodies::expectedAbsence()}}, &body);
    Bodies::addAttributesToGet({"b", "c"}, &body);
    Bodies::setReturnValues(Bodies::ReturnUpdatedNew, &body);
    EXPECT_EQ(textOf(body), R"({"AttributesToGet":["b","c"],"Expected":{"a":{"Exists":false}},)"
                            R"("ReturnValues":"UPDATED_NEW","TableName":"d|t"})");
}

TEST(Bodies, KeyNamesAreThoseOfTheSchema)
{
    const KeyNames names = Bodies::keyNames(Bodies::createTable("d|t", "h", "r"));
    EXPECT_EQ(names.hash, "h");
    EXPECT_EQ(names.range, "r");
    EXPECT_TRUE(names.contains("h") && names.contains("r"));
    EXPECT_FALSE(names.contains("a"));
    EXPECT_EQ(Bodies::keyNames({}).hash, "");
}
