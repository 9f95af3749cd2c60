#include "storedenvironment.h"
#include "support/tablefixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class GetItem : public TableTest {
protected:
    void SetUp() override
    {
        TableTest::SetUp();
        createTable(tableName());
    }
    QVariantMap getByKey(const QVariant& key) { return request("GetItem", {{"TableName", tableName()}, {"Key", key}}); }
    static QVariantMap found(const QVariantMap& attributes) { return okReply({{"Item", attributes}}); }
};

TEST_F(GetItem, AnswersTheAttributesWithoutTheKeys)
{
    const QVariantMap attributes{{"a", textValue("x")}, {"n", numberValue("1")}};
    put("k", "1", attributes);
    put("k", "2", {});
    EXPECT_EQ(get("k", "1"), found(attributes));
    EXPECT_EQ(get("k", "2"), found({}));
    EXPECT_THAT(takeComplaints(), IsEmpty());
}

TEST_F(GetItem, AbsentItemIsAnEmptySuccess)
{
    put("k", "1", {{"a", textValue("x")}});
    EXPECT_EQ(get("k", ""), okReply());
    EXPECT_EQ(get("k", "2"), okReply());
    EXPECT_EQ(get("K", "1"), okReply());
    EXPECT_EQ(get("", ""), okReply());
    EXPECT_EQ(get("none", "1", {{"AttributesToGet", QVariantList{"a"}}}), okReply());
    EXPECT_THAT(takeComplaints(), IsEmpty());
}

TEST_F(GetItem, NeedsNoSchema)
{
    EXPECT_EQ(request("GetItem", {{"TableName", tableName("none")}, {"Key", itemKey("k", "1")}}), okReply());
    EXPECT_THAT(takeComplaints(), IsEmpty());
}

TEST_F(GetItem, AttributesToGetCutsTheItemDown)
{
    const QVariantMap attributes{{"a", textValue("x")}, {"b", numberValue("1")}, {"5", textValue("five")}};
    put("k", "1", attributes);
    const auto projected = [&](const QVariant& names) { return get("k", "1", {{"AttributesToGet", names}}); };
    EXPECT_EQ(projected(QVariantList{"a"}), found({{"a", textValue("x")}}));
    EXPECT_EQ(projected(QVariantList{"b", "a", "b"}), found({{"a", textValue("x")}, {"b", numberValue("1")}}));
    EXPECT_EQ(projected(QVariantList{"none", "A"}), found({}));
    EXPECT_EQ(projected(QVariantList{"h", "r"}), found({})); // the keys are not part of the stored item
    EXPECT_EQ(projected(QVariantList{5LL}), found({{"5", textValue("five")}}));
    EXPECT_EQ(projected(QVariantList{QVariant(), QVariantList{"a"}, QVariantMap{{"S", "a"}}}), found({}));
    for (const QVariant& none : {QVariant(), QVariant(QVariantList()), QVariant(5LL), QVariant(true), QVariant("a"),
                                 QVariant("ab"), QVariant(QVariantMap{{"a", 1LL}})})
        EXPECT_EQ(projected(none), found({})) << Json::serialize(none).toStdString();
    EXPECT_EQ(get("k", "1"), found(attributes));
    EXPECT_THAT(takeComplaints(), IsEmpty());
}

/** Malformed keys, each with its log line. The same for every operation that takes a "Key". */
TEST_F(GetItem, MalformedKeyIsAnInternalErrorWithItsLine)
{
    const QVariantMap hash{{"HashKeyElement", textValue("k")}};
    const std::vector<std::pair<QVariant, std::string>> cases{
        {{}, "hash key missing"},
        {5LL, "hash key missing"},
        {"k", "hash key missing"},
        {QVariantList{itemKey("k", "1")}, "hash key missing"},
        {QVariantMap{}, "hash key missing"},
        {QVariantMap{{"RangeKeyElement", textValue("1")}}, "hash key missing"},
        {QVariantMap{{"HashKeyElement", numberValue("5")}}, "wrong hash-key"},
        {QVariantMap{{"HashKeyElement", numberValue("5")}, {"RangeKeyElement", numberValue("5")}}, "wrong hash-key"},
        {QVariantMap{{"HashKeyElement", QVariant()}}, "wrong hash-key"},
        {QVariantMap{{"HashKeyElement", "k"}}, "wrong hash-key"},
        {QVariantMap{{"HashKeyElement", 5LL}}, "wrong hash-key"},
        {QVariantMap{{"HashKeyElement", QVariantMap{}}}, "wrong hash-key"},
        {QVariantMap{{"HashKeyElement", QVariantMap{{"s", "k"}}}}, "wrong hash-key"},
        {QVariantMap{{"HashKeyElement", QVariantList{textValue("k")}}}, "wrong hash-key"},
        {hash, "range key missing"},
        {merged(hash, {{"RangeKeyElement", numberValue("5")}}), "wrong range-key"},
        {merged(hash, {{"RangeKeyElement", QVariant()}}), "wrong range-key"},
        {merged(hash, {{"RangeKeyElement", "1"}}), "wrong range-key"},
        {merged(hash, {{"RangeKeyElement", true}}), "wrong range-key"},
        {merged(hash, {{"RangeKeyElement", QVariantList{}}}), "wrong range-key"},
    };
    for (const char* operation : {"GetItem", "DeleteItem", "UpdateItem"}) {
        for (const auto& [key, line] : cases) {
            const std::string what = operation + (' ' + Json::serialize(key).toStdString());
            EXPECT_EQ(request(operation, {{"TableName", tableName()}, {"Key", key}, {"ReturnValues", "ALL_OLD"}}),
                      internalErrorReply())
                << what;
            EXPECT_THAT(takeComplaints(), ElementsAre("[ERROR] bdbrequest # " + line, composeError(2))) << what;
        }
        EXPECT_EQ(request(operation, {{"TableName", tableName()}}), internalErrorReply());
        EXPECT_THAT(takeComplaints(), ElementsAre("[ERROR] bdbrequest # hash key missing", composeError(2)));
    }
}

TEST_F(GetItem, KeyTextThatIsNoStringIsReadAsItsText)
{
    put("5", "true", {{"a", textValue("x")}});
    put("", "", {{"a", textValue("empty")}});
    EXPECT_EQ(getByKey(QVariantMap{{"HashKeyElement", QVariantMap{{"S", 5LL}}},
                                   {"RangeKeyElement", QVariantMap{{"S", true}}}}),
              found({{"a", textValue("x")}}));
    EXPECT_EQ(getByKey(QVariantMap{{"HashKeyElement", QVariantMap{{"S", QVariant()}}},
                                   {"RangeKeyElement", QVariantMap{{"S", QVariantList{"x"}}}}}),
              found({{"a", textValue("empty")}}));
    EXPECT_THAT(takeComplaints(), IsEmpty());
}

TEST_F(GetItem, KeyOutsideLatin1IsRefusedByEveryOperation)
{
    const QString euro(QChar(0x20ac));
    put("?", "?", {{"a", textValue("x")}}); // the result of a lossy conversion
    for (const char* operation : {"GetItem", "DeleteItem", "UpdateItem"}) {
        for (const QVariantMap& key : {itemKey(euro, "?"), itemKey("?", euro)}) {
            EXPECT_EQ(request(operation, {{"TableName", tableName()}, {"Key", key}}), invalidRequestReply());
            EXPECT_THAT(takeComplaints(), ElementsAre("[ERROR] bdbrequest # key holds a character outside Latin-1"));
        }
    }
    EXPECT_EQ(get("?", "?"), found({{"a", textValue("x")}}));
}

TEST_F(GetItem, MissingHomeIsNotFoundForEveryOperation)
{
    const std::string missing = home() + "/missing";
    for (const char* operation : {"GetItem", "DeleteItem", "UpdateItem"}) {
        EXPECT_EQ(request(operation, {{"TableName", tableIn(missing)}, {"Key", itemKey("k", "1")}}), notFoundReply());
        EXPECT_THAT(takeComplaints(),
                    ElementsAre("[CRIT] bdb # Failed to open env path: " + missing + " id env::" + missing + " rc 2"));
    }
}

TEST_F(GetItem, PartitionThatCannotBeOpenedIsAnInternalErrorForEveryOperation)
{
    std::filesystem::create_directory(home() + "/t_98.db");
    for (const char* operation : {"GetItem", "DeleteItem", "UpdateItem"}) {
        EXPECT_EQ(request(operation, {{"TableName", tableName()}, {"Key", itemKey("abc", "1")}}), internalErrorReply());
        const std::vector<std::string> lines = takeComplaints();
        ASSERT_GE(lines.size(), 2U);
        EXPECT_THAT(lines[lines.size() - 2],
                    testing::StartsWith("[CRIT] bdb # Failed to open DB dbpath: t_98.db dbname data rc "));
        EXPECT_EQ(lines.back(), composeError(12));
    }
}

TEST_F(GetItem, StoredTextThatIsNoJsonIsAnInternalErrorForEveryOperation)
{
    put("abc", "1", {});
    killServer();
    StoredEnvironment(home()).put("t_98.db", "data", "0003abc1", "{\"a\":");
    ASSERT_TRUE(server_.start());
    EXPECT_EQ(get("abc", "1"), internalErrorReply());
    EXPECT_THAT(takeComplaints(), ElementsAre("[ERROR] bdbrequest # parser error", composeError(2)));
    EXPECT_EQ(update("abc", "1", {}), internalErrorReply());
    EXPECT_THAT(takeComplaints(), ElementsAre("[ERROR] bdbrequest # parser failed", composeError(2)));
    EXPECT_EQ(remove("abc", "1", {{"ReturnValues", "ALL_OLD"}}), internalErrorReply({{"Attributes", QVariantMap()}}));
    EXPECT_THAT(takeComplaints(), ElementsAre("[ERROR] bdbrequest # parser failed", composeError(2)));
    EXPECT_EQ(remove("abc", "1"), okReply()); // which does not need to read anything
    EXPECT_EQ(get("abc", "1"), okReply());
}

} // namespace
