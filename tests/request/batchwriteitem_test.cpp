#include "request/storedenvironment.h"
#include "scanqueryfixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class BatchWriteItemTest : public ScanQueryTest {
protected:
    QVariantMap batchOf(const QVariantMap& tables) { return request("BatchWriteItem", {{"RequestItems", tables}}); }

    /** All items of a hash key of a table. */
    QVariantList stored(const QString& hash, const QString& table = "t")
    {
        return request("Query", {{"TableName", tableName(table)}, {"HashKeyValue", textValue(hash)}})
            .value("Items")
            .toList();
    }

    /** What is answered when nothing of a batch was written: the status's row, and everything to be sent again. */
    static QVariantMap allBack(QVariantMap reply, const QVariantMap& tables)
    {
        reply.insert("UnprocessedItems", tables);
        return reply;
    }
};

TEST_F(BatchWriteItemTest, PutsAndDeletesInOrder)
{
    putItems({itemOf("q", "a", {{"v", textValue("old")}}), itemOf("q", "b"), itemOf("q", "c")});
    EXPECT_EQ(batch({putEntry(itemOf("q", "a", {{"w", numberValue("1")}})), deleteEntry("q", "b"),
                     putEntry(itemOf("p", "", {{"v", textValue("")}})), deleteEntry("q", "missing"),
                     putEntry(itemOf("q", "d"))}),
              okReply());
    EXPECT_EQ(stored("q"),
              (QVariantList{itemOf("q", "a", {{"w", numberValue("1")}}), itemOf("q", "c"), itemOf("q", "d")}));
    EXPECT_EQ(stored("p"), (QVariantList{itemOf("p", "", {{"v", textValue("")}})}));
    EXPECT_THAT(takeComplaints(), IsEmpty());
}

TEST_F(BatchWriteItemTest, PutWithoutARangeKeyHasAnEmptyOne)
{
    EXPECT_EQ(batch({putEntry({{"h", textValue("q")}, {"v", textValue("1")}})}), okReply());
    EXPECT_EQ(stored("q"), (QVariantList{itemOf("q", "", {{"v", textValue("1")}})}));
}

TEST_F(BatchWriteItemTest, StoresWhatPutItemStores)
{
    const QVariantMap attributes{{"s", textValue("x")},
                                 {"n", numberValue("1.50")},
                                 {"ss", QVariantMap{{"SS", QStringList{"b", "a"}}}},
                                 {"odd", QVariantList{1, 2.5, true, QVariant(), "x"}}};
    EXPECT_EQ(put("q", "1", attributes).value("__rc"), QVariant(200));
    EXPECT_EQ(batch({putEntry(itemOf("q", "2", attributes))}), okReply());
    EXPECT_EQ(request("DeleteTable", {{"TableName", tableName()}}), okReply()); // closes its files
    const auto records = StoredEnvironment(home()).records(dataFile(partitionOfHash("q")), "data");
    ASSERT_EQ(records.size(), 2U);
    EXPECT_EQ(records.at("0001q1"), records.at("0001q2"));
    EXPECT_EQ(records.at("0001q2"), Json::serialize(attributes));
}

TEST_F(BatchWriteItemTest, EmptyRequestIsInvalid)
{
    for (const QVariant& items : QVariantList{QVariantMap(), QVariant(), QVariantList{1}, "x", 5}) {
        EXPECT_EQ(request("BatchWriteItem", {{"RequestItems", items}}), invalidRequestReply())
            << Json::serialize(items).toStdString();
        EXPECT_THAT(takeComplaints(), ElementsAre("[ERROR] bdbrequest # empty request"));
    }
    EXPECT_EQ(request("BatchWriteItem", {}), invalidRequestReply());
    EXPECT_THAT(takeComplaints(), ElementsAre("[ERROR] bdbrequest # empty request"));
}

TEST_F(BatchWriteItemTest, EntriesOfNeitherKindAreSkipped)
{
    const QVariantMap item = itemOf("q", "a");
    EXPECT_EQ(batch({QVariantMap(), QVariantMap{{"PutRequests", QVariantMap{{"Item", item}}}}, QVariant(), "x", 5,
                     QVariantList{putEntry(item)}, QVariantMap{{"putrequest", QVariantMap{{"Item", item}}}},
                     putEntry(itemOf("q", "b"))}),
              okReply());
    EXPECT_EQ(stored("q"), QVariantList{itemOf("q", "b")});
    // A list that is none, or that is empty, writes nothing, but its table must have a schema.
    for (const QVariant& list : QVariantList{QVariantList(), QVariant(), 5, "x", QVariantMap{{"PutRequest", item}}})
        EXPECT_EQ(batchOf({{tableName(), list}}), okReply()) << Json::serialize(list).toStdString();
    EXPECT_EQ(stored("q"), QVariantList{itemOf("q", "b")});
    EXPECT_THAT(takeComplaints(), IsEmpty());
}

TEST_F(BatchWriteItemTest, EntryOfBothKindsIsAPut)
{
    putItems({itemOf("q", "b")});
    QVariantMap entry = deleteEntry("q", "b");
    entry.insert(putEntry(itemOf("q", "a")));
    EXPECT_EQ(batch({entry}), okReply());
    EXPECT_EQ(stored("q"), (QVariantList{itemOf("q", "a"), itemOf("q", "b")}));
}

TEST_F(BatchWriteItemTest, TablesOfOneEnvironmentAreWrittenTogether)
{
    createTable(tableName("u"), keySchema("from", "until"));
    const QVariantMap other{{"from", textValue("q")}, {"until", textValue("z")}, {"h", textValue("no key here")}};
    EXPECT_EQ(batchOf({{tableName("t"), QVariantList{putEntry(itemOf("q", "a"))}},
                       {tableName("u"), QVariantList{putEntry(other), deleteEntry("q", "a")}}}),
              okReply());
    EXPECT_EQ(stored("q", "t"), QVariantList{itemOf("q", "a")});
    EXPECT_EQ(stored("q", "u"), QVariantList{other});
    EXPECT_THAT(takeComplaints(), IsEmpty());
}

TEST_F(BatchWriteItemTest, SameItemInTwoTablesIsNoDuplicate)
{
    createTable(tableName("u"));
    EXPECT_EQ(batchOf({{tableName("t"), QVariantList{putEntry(itemOf("q", "a"))}},
                       {tableName("u"), QVariantList{putEntry(itemOf("q", "a"))}}}),
              okReply());
    EXPECT_EQ(batchOf({{tableName("t"), QVariantList{deleteEntry("q", "a")}},
                       {tableName("u"), QVariantList{putEntry(itemOf("q", "a"))}}}),
              okReply());
    EXPECT_EQ(stored("q", "t"), QVariantList());
    EXPECT_EQ(stored("q", "u"), QVariantList{itemOf("q", "a")});
}

/** Every refused entry takes the whole batch with it, wherever it stands. */
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

TEST_F(BatchWriteItemTest, DuplicatesAreToldByTheWholeKey)
{
    // Different splits of the same bytes, and keys that differ behind a zero byte, are different items.
    const QString zero = QString("a") + QChar(0);
    EXPECT_EQ(batch({putEntry(itemOf("ab", "c")), putEntry(itemOf("a", "bc")), putEntry(itemOf("abc", "")),
                     putEntry(itemOf("a", zero)), putEntry(itemOf("a", "a")), putEntry(itemOf("a", zero + 'b')),
                     putEntry(itemOf("a", ""))}),
              okReply());
    EXPECT_EQ(request("Query", {{"TableName", tableName()}, {"HashKeyValue", textValue("a")}, {"Count", true}}),
              okReply({{"Count", 5}}));
    EXPECT_EQ(batch({deleteEntry("a", zero), deleteEntry("a", "a")}), okReply());
    EXPECT_EQ(stored("a").size(), 3);
    // An empty range key and a missing one are the same.
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

TEST_F(BatchWriteItemTest, KeysAreLatin1Bytes)
{
    const QString e = QString::fromUtf8("\xc3\xa9\xc3\xbf");
    EXPECT_EQ(batch({putEntry(itemOf(e, e, {{"v", textValue(QChar(0x394))}}))}), okReply());
    EXPECT_EQ(stored(e), (QVariantList{itemOf(e, e, {{"v", textValue(QChar(0x394))}})}));
    EXPECT_EQ(batch({deleteEntry(e, e)}), okReply());
    EXPECT_EQ(stored(e), QVariantList());
}

TEST_F(BatchWriteItemTest, KeysThatAreNoStringsAreReadAsSuch)
{
    EXPECT_EQ(batch({putEntry({{"h", QVariantMap{{"S", 5}}}, {"r", QVariantMap{{"S", true}}}}),
                     putEntry({{"h", QVariantMap{{"S", 5}}}, {"r", QVariantMap{{"S", QVariant()}}}})}),
              okReply());
    EXPECT_EQ(stored("5"), (QVariantList{itemOf("5", ""), itemOf("5", "true")}));
}

TEST_F(BatchWriteItemTest, TwentyThousandEntriesOverAllPartitions)
{
    constexpr int Count = 20000;
    QVariantList puts;
    QVariantList deletes;
    std::set<int> partitions;
    for (int n = 0; n < Count; ++n) {
        const QString hash = "hash" + QString::number(n % 4000);
        const QString range = QString::number(n / 4000);
        partitions.insert(partitionOfHash(hash));
        puts.append(putEntry(itemOf(hash, range, {{"n", numberValue(QString::number(n))}})));
        deletes.append(deleteEntry(hash, range));
    }
    ASSERT_EQ(partitions.size(), 256U);
    EXPECT_EQ(batch(puts), okReply());
    EXPECT_EQ(tableFiles().size(), 257U);

    int pages = 0;
    qlonglong count = 0;
    QVariantMap fields{{"Count", true}, {"Limit", 1500}};
    for (QVariantMap reply = scan(fields);; reply = scan(fields), ++pages) {
        ASSERT_EQ(reply.value("__rc"), QVariant(200));
        count += reply.value("Count").toLongLong();
        if (!reply.contains("LastEvaluatedKey"))
            break;
        fields.insert("ExclusiveStartKey", startBehind(reply.value("LastEvaluatedKey")));
    }
    EXPECT_EQ(count, Count);
    EXPECT_EQ(pages, Count / 1500);
    EXPECT_EQ(stored("hash0").size(), 5);

    // The last entry of as many deletes is refused: nothing is deleted.
    QVariantList refused = deletes;
    refused.append(deletes.first());
    const QVariantMap reply = batch(refused);
    EXPECT_EQ(reply.value("__type"), QVariant("ConditionalCheckFailedException"));
    EXPECT_EQ(reply.value("UnprocessedItems").toMap().value(tableName()).toList().size(), Count + 1);
    EXPECT_EQ(scan({{"Count", true}, {"Limit", Count + 1}}), scanCounts(Count, Count));

    EXPECT_EQ(batch(deletes), okReply());
    EXPECT_EQ(scan({{"Count", true}}), scanCounts(0, 0));
}

} // namespace
