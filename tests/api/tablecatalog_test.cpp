#include "api/apifixture.h"
#include "api/tablecatalog.h"
#include "protocol/bodies.h"

#include <filesystem>

namespace {

using testing::HasSubstr;
using testing::StartsWith;

class TableCatalog : public ApiTest {
protected:
    std::string describe(const std::string& name)
    {
        return withoutSize(call("DescribeTable", R"({"TableName":")" + name + "\"}"));
    }

    std::string describeMissing(const std::string& name)
    {
        return refusal("DescribeTable", R"({"TableName":")" + name + "\"}");
    }

    static std::string notFound(const std::string& name)
    {
        return errorText(std::string(ApiType) + "ResourceNotFoundException",
                         "Requested resource not found: Table: " + name + " not found");
    }
};

} // namespace

TEST_F(TableCatalog, ATableHasThreeNames)
{
    makeTable("orders");
    const std::string described = describe("orders");
    EXPECT_EQ(describe(directory_ + "|orders"), described);
    EXPECT_EQ(describe("arn:aws:dynamodb:eu-west-1:123456789012:table/orders"), described);
    EXPECT_EQ(describe("arn:aws:dynamodb:local:000000000000:table/" + directory_ + "|orders"), described);
}

TEST_F(TableCatalog, TablesOfOtherDirectoriesHaveTheirRealNames)
{
    const std::string other = server_.makeDirectory("other");
    makeTable(other + "|orders");
    EXPECT_THAT(describe(other + "|orders"), HasSubstr("\"TableName\":\"" + other + "|orders\""));
    EXPECT_EQ(describeMissing("orders"), notFound("orders"));
    EXPECT_EQ(call("ListTables", "{}"), R"({"TableNames":[]})");
}

TEST_F(TableCatalog, LookingForATableMakesNoFile)
{
    makeTable("orders");
    EXPECT_EQ(describeMissing("others"), notFound("others"));
    EXPECT_FALSE(std::filesystem::exists(directory_ + "/others"));
    EXPECT_EQ(describeMissing("/nowhere|orders"), notFound("/nowhere|orders"));
}

TEST_F(TableCatalog, TablesOfTheOldApiAreDescribed)
{
    QVariantMap body = Bodies::createTable(QString::fromStdString(directory_) + "|orders", "customer", "date");
    Bodies::setThroughput(3, 4, &body);
    ASSERT_EQ(server_.request("CreateTable", body)["__rc"], 200);
    EXPECT_THAT(describe("orders"),
                StartsWith(R"({"Table":{"AttributeDefinitions":[{"AttributeName":"customer","AttributeType":"S"},)"
                           R"({"AttributeName":"date","AttributeType":"S"}],"KeySchema":[{"AttributeName":"customer",)"
                           R"("KeyType":"HASH"},{"AttributeName":"date","KeyType":"RANGE"}],"TableName":"orders",)"
                           R"("TableStatus":"ACTIVE","CreationDateTime":123456.0,)"));
    EXPECT_THAT(describe("orders"), HasSubstr(R"("ReadCapacityUnits":3,"WriteCapacityUnits":4})"));
}

TEST_F(TableCatalog, ADeletedTableIsGoneWithItsFiles)
{
    makeTable("orders");
    EXPECT_THAT(call("DeleteTable", R"({"TableName":"orders"})"), HasSubstr(R"("TableStatus":"DELETING")"));
    EXPECT_EQ(describeMissing("orders"), notFound("orders"));
    EXPECT_EQ(refusal("DeleteTable", R"({"TableName":"orders"})"), notFound("orders"));
    EXPECT_FALSE(std::filesystem::exists(directory_ + "/orders"));
    EXPECT_EQ(call("ListTables", "{}"), R"({"TableNames":[]})");
}

TEST_F(TableCatalog, WhatOthersChangeIsSeenWithinASecond)
{
    makeTable("orders");
    const std::string described = describe("orders");
    const QString real = QString::fromStdString(directory_) + "|orders";
    ASSERT_EQ(server_.request("CreateTable", Bodies::createTable(real, "customer", "date"))["__rc"], 200);
    now_ += std::chrono::milliseconds(999);
    EXPECT_EQ(describe("orders"), described);
    now_ += std::chrono::milliseconds(1);
    EXPECT_THAT(describe("orders"), HasSubstr(R"("AttributeName":"customer")"));
    ASSERT_EQ(server_.request("Quorva_1.DropTable", {{"TableName", real}})["__rc"], 200);
    now_ += std::chrono::seconds(1);
    EXPECT_EQ(describeMissing("orders"), notFound("orders"));
}

TEST_F(TableCatalog, AnAnsweredChangeIsSeenThoughADescriptionWasBeingRead)
{
    makeTable("orders", "S");
    now_ += std::chrono::seconds(1);
    // While one client reads the description, another replaces the table.
    onReply_ = [this](const QByteArray& operation) {
        if (operation != "DynamoDB_20111205.DescribeTable")
            return;
        onReply_ = nullptr;
        call("DeleteTable", R"({"TableName":"orders"})");
        makeTable("orders", "N");
    };
    (void)answer("GetItem", R"({"TableName":"orders","Key":{"id":{"S":"a"}}})");
    EXPECT_FALSE(onReply_);
    EXPECT_EQ(call("PutItem", R"({"TableName":"orders","Item":{"id":{"N":"1"}}})"), "{}");
    EXPECT_EQ(call("Scan", R"({"TableName":"orders"})"), R"({"Items":[{"id":{"N":"1"}}],"Count":1,"ScannedCount":1})");
}

/** The server says that there is no table also while it closes the table's directory, for however long. */
TEST_F(TableCatalog, ARequestIsRepeatedAsLongAsItsTableExists)
{
    makeTable("orders");
    const QString real = QString::fromStdString(directory_) + "|orders";
    (void)describe("orders");
    ASSERT_EQ(server_.request("Quorva_1.DropTable", {{"TableName", real}})["__rc"], 200);
    bool isAsked = false;
    onRequest_ = [&](const QByteArray& operation) {
        if (isAsked || operation != "Quorva_1.ListTables")
            return;
        isAsked = true;
        EXPECT_EQ(server_.request("CreateTable", Bodies::createTable(real, "id", ""))["__rc"], 200);
    };
    EXPECT_EQ(call("PutItem", R"({"TableName":"orders","Item":{"id":{"S":"a"}}})"), "{}");
    EXPECT_TRUE(isAsked);
}

TEST_F(TableCatalog, OnlySoManySpellingsAreCachedAtATime)
{
    makeTable("orders");
    const auto exchangesOfGet = [this](const std::string& directory) {
        const int before = requests_;
        call("GetItem", R"({"TableName":")" + directory + R"(|orders","Key":{"id":{"S":"a"}}})");
        return requests_ - before;
    };
    const auto spelling = [this](std::size_t number) {
        return directory_ + std::string(number % 32, '/') + (number < 32 ? "" : "/." + std::string(number / 32, '/'));
    };
    constexpr int Cached = 1;
    constexpr int Read = 3;
    for (std::size_t number = 0; number < Api::TableCatalog::MostCached; ++number)
        ASSERT_EQ(exchangesOfGet(spelling(number)), Read) << number;
    EXPECT_EQ(exchangesOfGet(spelling(0)), Cached);
    const std::string another = directory_ + "/../tables";
    EXPECT_EQ(exchangesOfGet(another), Read);
    EXPECT_EQ(exchangesOfGet(another), Read) << "there is no room";
    now_ += Api::TableCatalog::Memory;
    EXPECT_EQ(exchangesOfGet(another), Read);
    EXPECT_EQ(exchangesOfGet(another), Cached);
    EXPECT_EQ(exchangesOfGet(spelling(0)), Read) << "the room was that of those that had expired";
}
