#include "deletetablefixture.h"

#include <cerrno>

namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

/** Whether nobody holds the lock that an open environment has on its directory. */
bool isFree(const std::string& directory)
{
    return Base::DirectoryLock().lock(directory) == 0;
}

TEST_F(DeleteTable, UnknownTableSucceedsWithNothing)
{
    EXPECT_EQ(deleteTable(tableName()), okReply()); // the directory exists, but its environment was never opened
    EXPECT_THAT(takeComplaints(), ElementsAre("[CRIT] bdb # Failed to load env with id: env::" + home()));
    const std::string missing = home() + "/missing";
    EXPECT_EQ(deleteTable(tableIn(missing)), okReply());
    EXPECT_THAT(takeComplaints(), ElementsAre("[CRIT] bdb # Failed to load env with id: env::" + missing));
    EXPECT_EQ(request("DeleteTable", {}), okReply());
    EXPECT_THAT(takeComplaints(), ElementsAre("[CRIT] bdb # Failed to load env with id: env::"));
    EXPECT_TRUE(std::filesystem::is_empty(home()));
}

TEST_F(DeleteTable, RemovesNoFileAndTheTableWorksAgain)
{
    createTable(tableName());
    put("abc", "1", {{"a", textValue("x")}});
    EXPECT_EQ(deleteTable(tableName()), okReply());
    EXPECT_TRUE(std::filesystem::exists(home() + "/t"));
    EXPECT_TRUE(std::filesystem::exists(home() + "/t_98.db"));
    EXPECT_EQ(get("abc", "1"), okReply({{"Item", QVariantMap{{"a", textValue("x")}}}}));
    EXPECT_THAT(takeComplaints(), IsEmpty());
}

TEST_F(DeleteTable, ASecondOneFindsNothingOpen)
{
    createTable(tableName());
    EXPECT_EQ(deleteTable(tableName()), okReply());
    EXPECT_THAT(takeComplaints(), IsEmpty());
    EXPECT_EQ(deleteTable(tableName()), okReply());
    EXPECT_THAT(takeComplaints(), ElementsAre("[CRIT] bdb # Failed to load env with id: env::" + home()));
}

TEST_F(DeleteTable, ReleasesTheDirectory)
{
    createTable(tableName());
    put("k", "1", {{"a", textValue("x")}});
    EXPECT_FALSE(isFree(home()));
    EXPECT_EQ(deleteTable(tableName()), okReply());
    {
        Base::DirectoryLock other;
        EXPECT_EQ(other.lock(home()), 0);
        EXPECT_EQ(get("k", "1"), notFoundReply());
        EXPECT_THAT(takeComplaints(), ElementsAre("[CRIT] bdb # Failed to open env path: " + home() +
                                                  " id env::" + home() + " rc " + std::to_string(EWOULDBLOCK)));
    }
    EXPECT_EQ(get("k", "1"), okReply({{"Item", QVariantMap{{"a", textValue("x")}}}}));
    EXPECT_FALSE(isFree(home()));
}

TEST_F(DeleteTable, ClosesTheEnvironmentForAllItsTables)
{
    createTable(tableName("t"));
    createTable(tableName("u"));
    put("k", "1", {{"a", textValue("x")}});
    EXPECT_EQ(deleteTable(tableName("u")), okReply());
    EXPECT_TRUE(isFree(home()));
    EXPECT_EQ(get("k", "1"), okReply({{"Item", QVariantMap{{"a", textValue("x")}}}}));
    EXPECT_EQ(deleteTable(tableName("never created")), okReply()); // only its environment has to be open
    EXPECT_TRUE(isFree(home()));
    EXPECT_THAT(takeComplaints(), IsEmpty());
}

TEST_F(DeleteTable, LeavesOtherEnvironmentsOpen)
{
    const std::string other = makeDirectory("other");
    createTable(tableName());
    createTable(tableIn(other));
    EXPECT_EQ(deleteTable(tableName()), okReply());
    EXPECT_TRUE(isFree(home()));
    EXPECT_FALSE(isFree(other));
}

TEST_F(DeleteTable, AnySpellingOfTheDirectoryWillDo)
{
    std::filesystem::create_directory_symlink(home(), server_.directory() + "/link");
    for (const std::string& spelling : {home() + "/", home() + "/.", home() + "//", server_.directory() + "/link",
                                        server_.directory() + "/link/../env/"}) {
        createTable(tableName());
        EXPECT_EQ(deleteTable(tableIn(spelling)), okReply()) << spelling;
        EXPECT_TRUE(isFree(home())) << spelling;
        createTable(tableIn(spelling));
        EXPECT_EQ(deleteTable(tableName()), okReply()) << spelling;
        EXPECT_TRUE(isFree(home())) << spelling;
    }
    EXPECT_THAT(takeComplaints(), IsEmpty());
}

/** Each failure of each operation, then DeleteTable, which would wait forever for a hold that was not released. */
TEST_F(DeleteTable, FindsNoHoldLeftByRequestsThatFailed)
{
    const QVariantMap table{{"TableName", tableName()}};
    const QVariantMap key{{"Key", itemKey("k", "1")}};
    const QVariantMap never{{"Expected", QVariantMap{{"a", QVariantMap{{"Value", textValue("x")}}}}}};
    const QVariantMap latin{{"HashKeyElement", textValue(QString(QChar(0x100)))}, {"RangeKeyElement", textValue("")}};
    const QVariantMap item{{"h", textValue("k")}, {"r", textValue("1")}};
    const QVariantMap add{{"a", QVariantMap{{"Action", "ADD"}, {"Value", numberValue("1")}}}};

    request("PutItem", merged(table, {{"Item", item}})); // there is no schema yet
    request("Scan", table);
    request("Query", merged(table, {{"HashKeyValue", textValue("k")}}));
    createTable(tableName(), {});
    request("PutItem", merged(table, {{"Item", item}}));
    createTable(tableName());
    EXPECT_EQ(request("PutItem", table), internalErrorReply());
    EXPECT_EQ(request("PutItem", merged(merged(table, {{"Item", item}}), never)), conditionFailedReply());
    for (const char* operation : {"GetItem", "DeleteItem", "UpdateItem"}) {
        EXPECT_EQ(request(operation, table), internalErrorReply());
        EXPECT_EQ(request(operation, merged(table, {{"Key", latin}})), invalidRequestReply());
    }
    EXPECT_EQ(request("DeleteItem", merged(merged(table, key), never)),
              conditionFailedReply({{"Attributes", QVariantMap()}}));
    EXPECT_EQ(request("UpdateItem", merged(merged(table, key), never)), conditionFailedReply());
    put("t", "1", {{"a", textValue("x")}});
    EXPECT_EQ(update("t", "1", add), notFoundReply());
    EXPECT_EQ(request("Query", table), okReply({{"Attributes", QVariantMap()}}));
    EXPECT_EQ(request("Query", merged(table, {{"HashKeyValue", numberValue("1")}})), internalErrorReply());
    EXPECT_EQ(request("Scan", merged(table, {{"ExclusiveStartKey", QVariantMap()}})), internalErrorReply());
    EXPECT_EQ(request("UpdateTable", table), okReply({{"TableDescription", QVariantMap{{"TableStatus", "ACTIVE"}}}}));
    EXPECT_EQ(request("CreateTable", {{"TableName", tableName("")}}), internalErrorReply());
    EXPECT_EQ(request("BatchWriteItem", {{"RequestItems", QVariantMap{{tableName("none"), QVariantList()}}}}),
              notFoundReply({{"UnprocessedItems", QVariantMap{{tableName("none"), QVariantList()}}}}));
    EXPECT_EQ(deleteTable(tableName()), okReply());
    EXPECT_TRUE(isFree(home()));
}

} // namespace
