#include "scanfixture.h"

namespace {

using testing::ElementsAre;

TEST_F(ScanTest, LastEvaluatedKeyHoldsBareStrings)
{
    putItems(lastItems(3));
    const QVariantMap reply = scanLast({{"Limit", 1}});
    EXPECT_EQ(reply, scanReply(lastItems(1), 1, bareKey(hash_, "r000")));
    (void)takeComplaints();

    // They have to be wrapped before they can be used as a start key.
    EXPECT_EQ(scan({{"ExclusiveStartKey", reply.value("LastEvaluatedKey")}}), internalErrorReply());
    EXPECT_EQ(takeComplaints(), complaints("wrong hash-key"));
    EXPECT_EQ(scan({{"ExclusiveStartKey", startBehind(reply.value("LastEvaluatedKey"))}}),
              scanReply(lastItems(3).mid(1), 2));
}

TEST_F(ScanTest, LastEvaluatedKeyIsACopyOfTheStartKey)
{
    putItems(lastItems(3));
    QVariantMap start = itemKey(hash_, "r000");
    start.insert("note", QVariantMap{{"S", "kept"}});
    start.insert("Apple", QVariantList{1, 2.5, QVariant(), true});
    QVariantMap last = start;
    last.insert(bareKey(hash_, "r001"));
    EXPECT_EQ(scan({{"ExclusiveStartKey", start}, {"Limit", 1}}), scanReply(lastItems(3).mid(1, 1), 1, last));
}

TEST_F(ScanTest, KeysShowTheirTextUpToAZeroByte)
{
    // Latin-1 keys are returned unchanged, the empty range key included; a key with U+0000 only up to that.
    const QString high = QString::fromUtf8("\xc3\xa9\xc3\xbf");
    const QString zero = QString("a") + QChar(0) + 'b';
    putItems({itemOf(hash_, ""), itemOf(hash_, zero), itemOf(hash_, high)});
    const QVariantList items{itemOf(hash_, ""), itemOf(hash_, "a"), itemOf(hash_, high)};
    const QVariantMap start{{"ExclusiveStartKey", itemKey(hash_, "")}};
    EXPECT_EQ(scan(start), scanReply(items.mid(1), 2)); // the record with the empty range key is skipped
    EXPECT_EQ(scan(merged(start, {{"Limit", 1}})), scanReply(items.mid(1, 1), 1, bareKey(hash_, "a")));
    EXPECT_EQ(scan(merged(start, {{"Limit", 2}})), scanReply(items.mid(1, 2), 2, bareKey(hash_, high)));
    EXPECT_EQ(scan({{"ExclusiveStartKey", itemKey(hash_, zero)}}), scanReply(items.mid(2), 1));
}

TEST_F(ScanTest, StartKeyFailures)
{
    for (const MalformedKey& c : malformedKeys()) {
        SCOPED_TRACE(Json::serialize(c.key).toStdString());
        EXPECT_EQ(scan({{"ExclusiveStartKey", c.key}}), internalErrorReply());
        EXPECT_EQ(takeComplaints(), complaints(c.line));
        EXPECT_EQ(scan({{"ExclusiveStartKey", c.key}, {"Count", true}}), internalErrorReply());
        EXPECT_EQ(takeComplaints(), complaints(c.line));
    }
    for (const QVariantMap& start : {itemKey(QChar(0x394), "r"), itemKey("h", QChar(0x100))}) {
        EXPECT_EQ(scan({{"ExclusiveStartKey", start}}), invalidRequestReply());
        EXPECT_THAT(takeComplaints(), ElementsAre("[ERROR] bdbrequest # key holds a character outside Latin-1"));
    }
    EXPECT_EQ(tableFiles(), std::set<std::string>{"t"}); // they fail before any walk
}

TEST_F(ScanTest, StartKeyElementsThatAreNoStringsAreReadAsSuch)
{
    putItems(lastItems(2));
    const QVariantMap start{{"HashKeyElement", QVariantMap{{"S", hash_}}}, {"RangeKeyElement", QVariantMap{{"S", 5}}}};
    EXPECT_EQ(scan({{"ExclusiveStartKey", start}}), scanReply(lastItems(2), 2)); // "5" sorts before "r000"
}

TEST_F(ScanTest, EmptyStartHashBeginsAtTheBeginning)
{
    // Kept: a scan cannot continue after an empty hash key, so such a last key leads back to the first page.
    ASSERT_GT(partitionOfHash(""), 0);
    const QVariantMap first = itemOf(hashIn(0), "1");
    putItems({first, itemOf("", "1"), itemOf("", "2")});
    EXPECT_EQ(scan({{"Limit", 1}, {"ExclusiveStartKey", itemKey("", "1")}}),
              scanReply({first}, 1, bareKey(hashIn(0), "1")));
    EXPECT_EQ(tableFiles(), (std::set<std::string>{"t", dataFile(0), dataFile(partitionOfHash(""))}));
}

} // namespace
