#include "batchwriteitemfixture.h"

namespace {

using testing::ElementsAre;

/** Any rejected entry rejects the whole batch, wherever it is. */
TEST_F(BatchWriteItemTest, RefusedEntryWritesNothingAtAll)
{
    createTable(tableName("u"));
    const QString foreign = QString(QChar(0x394));
    const QVariantMap conditionFailed = conditionFailedReply();
    const QVariantMap internal = internalErrorReply();
    const QVariantMap invalid = invalidRequestReply();
    const std::string withConditions = "condition check failed";
    const std::string duplicate = "Duplicate entries are present";
    const std::string notLatin1 = "key holds a character outside Latin-1";
    const auto putWith = [](const char* name, const QVariant& value) {
        return QVariantMap{{"PutRequest", QVariantMap{{"Item", itemOf("x", "x")}, {name, value}}}};
    };
    const auto deleteWith = [](const char* name, const QVariant& value) {
        return QVariantMap{{"DeleteRequest", QVariantMap{{"Key", itemKey("x", "x")}, {name, value}}}};
    };
    const auto deleteOf = [](const QVariant& key) { return QVariantMap{{"DeleteRequest", QVariantMap{{"Key", key}}}}; };
    struct Case {
        QVariantMap entry;
        QVariantMap reply;
        std::string line;
    };
    const Case cases[] = {
        {putWith("Expected", QVariantMap()), conditionFailed, withConditions},
        {putWith("Expected", QVariant()), conditionFailed, withConditions},
        {putWith("ReturnValues", "NONE"), conditionFailed, withConditions},
        {deleteWith("Expected", QVariantMap()), conditionFailed, withConditions},
        {deleteWith("ReturnValues", ""), conditionFailed, withConditions},

        {putEntry(itemOf("q", "new")), conditionFailed, duplicate},
        {deleteEntry("q", "new"), conditionFailed, duplicate},

        {putEntry({}), internal, "attr missing"},
        {putEntry({{"r", textValue("r")}}), internal, "attr missing"},
        {putEntry({{"h", numberValue("5")}, {"r", textValue("r")}}), internal, "attr missing"},
        {putEntry({{"h", "x"}, {"r", textValue("r")}}), internal, "attr missing"},
        {putEntry({{"h", textValue("x")}, {"r", numberValue("5")}}), internal, "attr missing"},
        {QVariantMap{{"PutRequest", QVariantMap()}}, internal, "attr missing"},
        {QVariantMap{{"PutRequest", QVariant()}}, internal, "attr missing"},
        {QVariantMap{{"PutRequest", QVariantMap{{"Item", "x"}}}}, internal, "attr missing"},

        {deleteOf(QVariantMap()), internal, "hash key missing"},
        {deleteOf("x"), internal, "hash key missing"},
        {QVariantMap{{"DeleteRequest", QVariantMap()}}, internal, "hash key missing"},
        {QVariantMap{{"DeleteRequest", 5}}, internal, "hash key missing"},
        {deleteOf(bareKey("q", "a")), internal, "wrong hash-key"},
        {deleteOf(QVariantMap{{"HashKeyElement", numberValue("5")}}), internal, "wrong hash-key"},
        {deleteOf(QVariantMap{{"HashKeyElement", textValue("q")}}), internal, "range key missing"},
        {deleteOf(QVariantMap{{"HashKeyElement", textValue("q")}, {"RangeKeyElement", numberValue("5")}}), internal,
         "wrong range-key"},

        {putEntry(itemOf(foreign, "r")), invalid, notLatin1},
        {putEntry(itemOf("q", foreign)), invalid, notLatin1},
        {deleteEntry(foreign, "r"), invalid, notLatin1},
        {deleteEntry("q", foreign), invalid, notLatin1},
    };
    putItems({itemOf("q", "old")});
    const QVariantList before = stored("q");
    for (const Case& c : cases) {
        SCOPED_TRACE(Json::serialize(c.entry).toStdString());
        const QVariantList entries{putEntry(itemOf("q", "new")), deleteEntry("q", "old"), c.entry,
                                   putEntry(itemOf("q", "newer"))};
        const QVariantMap tables{{tableName("t"), QVariantList{putEntry(itemOf("p", "first"))}},
                                 {tableName("u"), entries}};
        const QVariantMap swapped{{tableName("t"), entries},
                                  {tableName("u"), QVariantList{putEntry(itemOf("p", "second"))}}};
        for (const QVariantMap& sent : {tables, swapped}) {
            EXPECT_EQ(batchOf(sent), allBack(c.reply, sent));
            std::vector<std::string> lines{"[ERROR] bdbrequest # " + c.line};
            if (c.reply == internal)
                lines.push_back(composeError(2));
            EXPECT_EQ(takeComplaints(), lines);
        }
        EXPECT_EQ(stored("q", "t"), before);
        EXPECT_EQ(stored("q", "u"), QVariantList());
        EXPECT_EQ(stored("p", "t"), QVariantList());
        EXPECT_EQ(stored("p", "u"), QVariantList());
    }
}

TEST_F(BatchWriteItemTest, DuplicatesAreRecognisedByTheWholeKey)
{
    // Different splits of the same bytes, and keys that differ only after a zero byte, are different items.
    const QString zero = QString("a") + QChar(0);
    EXPECT_EQ(batch({putEntry(itemOf("ab", "c")), putEntry(itemOf("a", "bc")), putEntry(itemOf("abc", "")),
                     putEntry(itemOf("a", zero)), putEntry(itemOf("a", "a")), putEntry(itemOf("a", zero + 'b')),
                     putEntry(itemOf("a", ""))}),
              okReply());
    EXPECT_EQ(request("Query", {{"TableName", tableName()}, {"HashKeyValue", textValue("a")}, {"Count", true}}),
              okReply({{"Count", 5}}));
    EXPECT_EQ(batch({deleteEntry("a", zero), deleteEntry("a", "a")}), okReply());
    EXPECT_EQ(stored("a").size(), 3);
    // A missing range key is the same as an empty one.
    const QVariantList entries{putEntry(itemOf("a", "")), putEntry({{"h", textValue("a")}})};
    EXPECT_EQ(batch(entries), allBack(conditionFailedReply(), {{tableName(), entries}}));
}

TEST_F(BatchWriteItemTest, TableWithoutASchemaGivesEverythingBack)
{
    const QVariantMap tables{{tableName("t"), QVariantList{putEntry(itemOf("q", "a"))}},
                             {tableName("unknown"), QVariantList{putEntry(itemOf("q", "a"))}},
                             {tableName("v"), QVariantList()}};
    EXPECT_EQ(batchOf(tables), allBack(notFoundReply(), tables));
    EXPECT_THAT(takeComplaints(), ElementsAre("[ERROR] bdbrequest # schema load failed rc 3",
                                              "[ERROR] bdbrequest # batchWriteItem schema load failed: " +
                                                  tableName("unknown").toStdString()));
    EXPECT_EQ(stored("q"), QVariantList());

    createTable(tableName("unknown"), {{"HashKeyElement", schemaElement("h")}});
    EXPECT_EQ(batchOf(tables), allBack(notFoundReply(), tables));
    EXPECT_THAT(takeComplaints(), ElementsAre("[ERROR] bdbrequest # wrond key rc1 0 rc2 2",
                                              "[ERROR] bdbrequest # batchWriteItem schema load failed: " +
                                                  tableName("unknown").toStdString()));
    EXPECT_EQ(stored("q"), QVariantList());
}

TEST_F(BatchWriteItemTest, EnvironmentThatCannotBeOpenedGivesNothingBack)
{
    const QString missing = QString::fromStdString(home()) + "/missing|t";
    EXPECT_EQ(batchOf({{missing, QVariantList{putEntry(itemOf("q", "a"))}}}), notFoundReply());
    EXPECT_EQ(batchOf({{"", QVariantList{putEntry(itemOf("q", "a"))}}}), notFoundReply());
    EXPECT_EQ(batchOf({{"|t", QVariantList{putEntry(itemOf("q", "a"))}}}), notFoundReply());
}

TEST_F(BatchWriteItemTest, EnvironmentThatIsBeingDeletedGivesNothingBack)
{
    const Client::WireConnection deleter = keepDeleteWaiting();
    const QVariantList entries{putEntry(itemOf("q", "a"))};
    EXPECT_TRUE(isRefused("BatchWriteItem", {{"RequestItems", QVariantMap{{tableName(), entries}}}}));
}

TEST_F(BatchWriteItemTest, PartitionThatCannotBeOpenedGivesEverythingBack)
{
    ASSERT_TRUE(std::filesystem::create_directory(home() + '/' + dataFile(255)));
    const QVariantMap tables{
        {tableName(), QVariantList{putEntry(itemOf(hashIn(1), "a")), putEntry(itemOf(hashIn(255), "a"))}}};
    EXPECT_EQ(batchOf(tables), allBack(internalErrorReply(), tables));
    EXPECT_EQ(takeComplaints().back(), composeError(12));
    EXPECT_EQ(stored(hashIn(1)), QVariantList());
}

} // namespace
