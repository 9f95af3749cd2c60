#include "api/apifixture.h"

namespace {

using testing::HasSubstr;

class CreateTable : public ApiTest {
protected:
    static std::string body(const std::string& keys, const std::string& definitions,
                            const std::string& more = R"("BillingMode":"PAY_PER_REQUEST")")
    {
        return R"({"TableName":"orders","KeySchema":[)" + keys + R"(],"AttributeDefinitions":[)" + definitions + "]," +
               more + '}';
    }

    static std::string key(const char* name, const char* role)
    {
        return std::string(R"({"AttributeName":")") + name + R"(","KeyType":")" + role + "\"}";
    }

    static std::string definition(const char* name, const char* type)
    {
        return std::string(R"({"AttributeName":")") + name + R"(","AttributeType":")" + type + "\"}";
    }

    static std::string hashOnly(const std::string& more)
    {
        return body(key("id", "HASH"), definition("id", "S"), more);
    }

    void expectInvalid(const std::string& request, const std::string& message)
    {
        EXPECT_EQ(refusal("CreateTable", request), errorText(ValidationType, message)) << request;
        EXPECT_EQ(call("ListTables", "{}"), R"({"TableNames":[]})");
    }

    void expectBadParameter(const std::string& request, const std::string& message)
    {
        expectInvalid(request, "One or more parameter values were invalid: " + message);
    }
};

/** A text without the value of "TableId". */
std::string withoutId(std::string text)
{
    const std::string name = R"("TableId":")";
    const std::size_t at = text.find(name);
    if (at == std::string::npos)
        return text + " has no id";
    return text.erase(at + name.size(), 36);
}

} // namespace

TEST_F(CreateTable, DescribesTheTable)
{
    const std::string created =
        call("CreateTable",
             body(key("id", "HASH") + ',' + key("at", "RANGE"), definition("at", "N") + ',' + definition("id", "B"),
                  R"("ProvisionedThroughput":{"ReadCapacityUnits":5,"WriteCapacityUnits":6})"));
    const std::string expected =
        R"({"AttributeDefinitions":[{"AttributeName":"id","AttributeType":"B"},{"AttributeName":"at","AttributeType":"N"}],)"
        R"("KeySchema":[{"AttributeName":"id","KeyType":"HASH"},{"AttributeName":"at","KeyType":"RANGE"}],)"
        R"("TableName":"orders","TableStatus":"ACTIVE","CreationDateTime":1700000000.25,)"
        R"("ProvisionedThroughput":{"NumberOfDecreasesToday":0,"ReadCapacityUnits":5,"WriteCapacityUnits":6},)"
        R"("TableSizeBytes":0,"ItemCount":0,"TableArn":"arn:aws:dynamodb:local:000000000000:table/orders",)"
        R"("TableId":"","DeletionProtectionEnabled":false})";
    EXPECT_EQ(withoutId(created), "{\"TableDescription\":" + expected + '}');
    EXPECT_EQ(call("ListTables", "{}"), R"({"TableNames":["orders"]})");
}

TEST_F(CreateTable, OnDemandTablesHaveABillingMode)
{
    const std::string created = call("CreateTable", hashOnly(R"("BillingMode":"PAY_PER_REQUEST")"));
    EXPECT_THAT(created, HasSubstr(R"("ProvisionedThroughput":{"NumberOfDecreasesToday":0,"ReadCapacityUnits":0,)"
                                   R"("WriteCapacityUnits":0},"BillingModeSummary":{"BillingMode":"PAY_PER_REQUEST",)"
                                   R"("LastUpdateToPayPerRequestDateTime":1700000000.25})"));
    EXPECT_THAT(created, HasSubstr(R"("KeySchema":[{"AttributeName":"id","KeyType":"HASH"}],)"));
}

TEST_F(CreateTable, ATableThatExistsStaysAsItIs)
{
    makeTable("orders", "N");
    const auto describe = [this] { return withoutSize(call("DescribeTable", R"({"TableName":"orders"})")); };
    const std::string described = describe();
    EXPECT_EQ(refusal("CreateTable", hashOnly(R"("BillingMode":"PAY_PER_REQUEST")")),
              errorText(std::string(ApiType) + "ResourceInUseException", "Table already exists: orders"));
    start(directory_);
    EXPECT_EQ(describe(), described);
}

TEST_F(CreateTable, KeysHaveToFitTheirDefinitions)
{
    expectInvalid(body(key("id", "RANGE"), definition("id", "S")),
                  "Invalid KeySchema: The first KeySchemaElement is not a HASH key type");
    expectInvalid(body(key("id", "HASH") + ',' + key("id", "RANGE"), definition("id", "S")),
                  "Both the Hash Key and the Range Key element in the KeySchema have the same name");
    expectInvalid(
        body(key("id", "HASH") + ',' + key("at", "HASH"), definition("id", "S") + ',' + definition("at", "S")),
        "Invalid KeySchema: The second KeySchemaElement is not a RANGE key type");
    expectBadParameter(
        body(key("id", "HASH") + ',' + key("at", "RANGE"), definition("id", "S") + ',' + definition("to", "S")),
        "Some index key attributes are not defined in AttributeDefinitions. Keys: [id, at], "
        "AttributeDefinitions: [id, to]");
    expectBadParameter(body(key("id", "HASH"), definition("id", "S") + ',' + definition("to", "S")),
                       "Number of attributes in KeySchema does not exactly match number of attributes defined in "
                       "AttributeDefinitions");
}

TEST_F(CreateTable, CapacityHasToFitTheBillingMode)
{
    const std::string units = R"("ProvisionedThroughput":{"ReadCapacityUnits":5,"WriteCapacityUnits":)";
    expectBadParameter(
        hashOnly(R"("BillingMode":"PROVISIONED")"),
        "ReadCapacityUnits and WriteCapacityUnits must both be specified when BillingMode is PROVISIONED");
    expectBadParameter(hashOnly(units + R"(6},"BillingMode":"PAY_PER_REQUEST")"),
                       "Neither ReadCapacityUnits nor WriteCapacityUnits can be specified when BillingMode is "
                       "PAY_PER_REQUEST");
    expectInvalid(hashOnly(units + "1000000000001}"),
                  "Given value 1000000000001 for WriteCapacityUnits is out of bounds");
}

TEST_F(CreateTable, WhatIsNotAvailableIsRefused)
{
    const std::string base = R"("BillingMode":"PAY_PER_REQUEST",)";
    const std::string index = R"([{"IndexName":"other","KeySchema":[)" + key("id", "HASH") + R"(],"Projection":{}}])";
    expectBadParameter(hashOnly(base + R"("LocalSecondaryIndexes":)" + index),
                       "LocalSecondaryIndexes: secondary indexes are not available yet");
    expectBadParameter(hashOnly(base + R"("GlobalSecondaryIndexes":)" + index),
                       "GlobalSecondaryIndexes: secondary indexes are not available yet");
    expectBadParameter(hashOnly(base + R"("GlobalSecondaryIndexes":[])"), "List of GlobalSecondaryIndexes is empty");
    expectBadParameter(hashOnly(base + R"("StreamSpecification":{"StreamEnabled":true})"),
                       "StreamSpecification: there are no streams of changes");
    expectBadParameter(hashOnly(base + R"("SSESpecification":{"Enabled":true})"),
                       "SSESpecification: the server does not encrypt its files");
    expectBadParameter(hashOnly(base + R"("ResourcePolicy":"{}")"),
                       "ResourcePolicy: every user who may connect may do everything, see --allow-users");
    call("CreateTable",
         hashOnly(base + R"("StreamSpecification":{"StreamEnabled":false},"SSESpecification":{"Enabled":false})"));
}

TEST_F(CreateTable, NamesThatBelongToFilesAreRefused)
{
    const auto named = [](const std::string& name) {
        return R"({"TableName":")" + name +
               R"(","KeySchema":[{"AttributeName":"id","KeyType":"HASH"}],"AttributeDefinitions":)"
               R"([{"AttributeName":"id","AttributeType":"S"}],"BillingMode":"PAY_PER_REQUEST"})";
    };
    expectInvalid(named("orders_3f.db"), "A table cannot have the name orders_3f.db: names that end like "
                                         R"(\"_3f.db\" belong to the data files of tables)");
    expectInvalid(named(directory_ + "|../orders"),
                  "A table cannot have the name ../orders: the table's name has a component \\\".\\\" or \\\"..\\\"");
    expectInvalid(named("|orders"), R"(A table's name with a \"|\" has a directory in front of that)");
}

TEST_F(CreateTable, ADirectoryThatDoesNotExistIsNamed)
{
    start("/nowhere");
    EXPECT_EQ(refusal("CreateTable", hashOnly(R"("BillingMode":"PAY_PER_REQUEST")")),
              errorText(std::string(ApiType) + "ResourceNotFoundException",
                        R"(Requested resource not found: The directory \"/nowhere\" does not exist. It is made with )"
                        "quorvactl init, and quorva-http --directory names another one."));
    start("nowhere");
    EXPECT_EQ(refusal("CreateTable", hashOnly(R"("BillingMode":"PAY_PER_REQUEST")")),
              errorText(std::string(ApiType) + "ResourceNotFoundException",
                        R"(Requested resource not found: The directory \"nowhere\" does not exist. It is relative to )"
                        "the server's working directory. It is made with quorvactl init, and quorva-http --directory "
                        "names another one."));
}
