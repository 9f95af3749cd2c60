#include "batchwriteitemfixture.h"

#include "request/storedenvironment.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

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
    // An empty list, or anything that is not a list, writes nothing, but its table must have a schema.
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

    // The last entry of the same number of deletes is rejected: nothing is deleted.
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
