#include "api/apifixture.h"
#include "protocol/bodies.h"

namespace {

class ListTables : public ApiTest {};

} // namespace

TEST_F(ListTables, PagesInOrder)
{
    for (const char* name : {"people", "Orders", "items", "items-2"})
        makeTable(name);
    EXPECT_EQ(call("ListTables", "{}"), R"({"TableNames":["Orders","items","items-2","people"]})");
    EXPECT_EQ(call("ListTables", R"({"Limit":2})"),
              R"({"LastEvaluatedTableName":"items","TableNames":["Orders","items"]})");
    EXPECT_EQ(call("ListTables", R"({"Limit":2,"ExclusiveStartTableName":"items"})"),
              R"({"TableNames":["items-2","people"]})");
    EXPECT_EQ(call("ListTables", R"({"ExclusiveStartTableName":"itemt"})"), R"({"TableNames":["people"]})");
    EXPECT_EQ(call("ListTables", R"({"ExclusiveStartTableName":"zoo"})"), R"({"TableNames":[]})");
}

TEST_F(ListTables, NamesThatTheApiDoesNotHaveAreRealNames)
{
    const QString front = QString::fromStdString(directory_) + '|';
    for (const char* name : {"xy", "two words"})
        ASSERT_EQ(server_.request("CreateTable", Bodies::createTable(front + name, "id", "at"))["__rc"], 200);
    makeTable("orders");
    EXPECT_EQ(call("ListTables", "{}"),
              "{\"TableNames\":[\"" + directory_ + "|two words\",\"" + directory_ + "|xy\",\"orders\"]}");
    call("DescribeTable", "{\"TableName\":\"" + directory_ + "|two words\"}");
}

TEST_F(ListTables, TablesMadeShortlyBeforeTheServerEndedAreListed)
{
    makeTable("orders");
    server_.kill();
    ASSERT_TRUE(server_.waitForExit());
    ASSERT_TRUE(server_.start());
    connection_.close();
    EXPECT_EQ(call("ListTables", "{}"), R"({"TableNames":["orders"]})");
}

TEST_F(ListTables, FilesWithoutADescriptionAreNoTable)
{
    makeTable("orders");
    (void)server_.request("GetItem",
                          Bodies::itemByKey(QString::fromStdString(directory_) + "|stray", "a", "b")); // makes files
    EXPECT_EQ(call("ListTables", "{}"), R"({"TableNames":["orders"]})");
    EXPECT_EQ(refusal("DescribeTable", R"({"TableName":"stray"})"),
              errorText(std::string(ApiType) + "ResourceNotFoundException",
                        "Requested resource not found: Table: stray not found"));
}
