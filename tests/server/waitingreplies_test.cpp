/*
 * Replies wait until what they tell is durable, and nothing else waits with them. The disk under the log stops, fills
 * up and goes on as the test says.
 */
#include "support/procfs.h"
#include "waitingrepliesfixture.h"

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

namespace {

TEST_F(WaitingReplies, OfEachKindOfWriteUntilTheLogIsOnDisk)
{
    const std::vector<std::pair<QByteArray, QVariantMap>> writes{
        {"PutItem", {{"Item", item("1", 1)}}},
        {"UpdateItem", {{"Key", key("2")}, {"AttributeUpdates", change(1)}, {"ReturnValues", "UPDATED_NEW"}}},
        {"DeleteItem", {{"Key", key("3")}, {"ReturnValues", "ALL_OLD"}}},
        {"BatchWriteItem", {{"RequestItems", QVariantMap{{tableName(), entries("4", 1)}}}}}};
    const std::vector<QVariantMap> replies{okReply({{"Attributes", number(1)}}), okReply({{"Attributes", number(1)}}),
                                           okReply({{"Attributes", number(0)}}), okReply()};
    for (std::size_t i = 0; i < writes.size(); ++i) {
        disk().hold(home());
        const Request write = begin(writes[i].first, writes[i].second);
        ASSERT_TRUE(disk().holds()) << writes[i].first.toStdString();
        expectOnlyTheseWait(write);
        disk().release();
        EXPECT_EQ(write->reply(), replies[i]);
    }
}

TEST_F(WaitingReplies, OfWhateverHasReadWhatIsNotDurable)
{
    const QVariantMap refused{{"Expected", expectation(0)}};
    const std::vector<std::pair<QByteArray, QVariantMap>> reads{
        {"GetItem", {{"Key", key("1")}}},
        {"GetItem", {{"Key", key("2")}}}, // in the same file
        {"GetItem", {{"Key", key("none")}}},
        {"GetItem", {{"TableName", tableIn(home() + "/.")}, {"Key", key("1")}}},
        {"Query", {{"HashKeyValue", textValue("k")}}},
        {"Query", {{"HashKeyValue", textValue("k")}, {"Limit", 1}, {"ScanIndexForward", false}}},
        {"Query", {{"HashKeyValue", textValue("k")}, {"Count", true}}},
        {"Scan", {{"Limit", 2}, {"ExclusiveStartKey", key("0")}}},
        {"PutItem", merged(refused, {{"Item", item("1", 5)}})},
        {"UpdateItem", merged(refused, {{"Key", key("1")}, {"AttributeUpdates", change(5)}})},
        {"DeleteItem", merged(refused, {{"Key", key("1")}})},
        {"DeleteItem", {{"Key", key("none")}}},
    };
    disk().hold(home());
    const Request write = beginPut("1", 1);
    ASSERT_TRUE(disk().holds());
    std::vector<Request> readers;
    for (const auto& [operation, body] : reads)
        readers.push_back(begin(operation, body));
    EXPECT_EQ(describe(tableName()).value("__rc"), QVariant(200LL)) << "which is in a file of its own";
    expectOnlyTheseWait(write);
    for (std::size_t i = 0; i < readers.size(); ++i)
        EXPECT_FALSE(readers[i]->isAnswered()) << i;
    disk().release();
    EXPECT_EQ(write->reply(), okReply({{"Attributes", number(1)}}));
    for (std::size_t i = 0; i < readers.size(); ++i)
        EXPECT_EQ(readers[i]->reply(), request(reads[i].first, merged({{"TableName", tableName()}}, reads[i].second)));
    EXPECT_EQ(request(reads[0].first, merged({{"TableName", tableName()}}, reads[0].second)),
              okReply({{"Item", number(1)}}));

    disk().hold(home());
    EXPECT_EQ(numberOf("1"), 1) << "durable by now, so no flush is waited for";
    EXPECT_FALSE(disk().exists("held"));
}

TEST_F(WaitingReplies, OutliveTheirClient)
{
    const std::size_t before = ProcFs::descriptors(server_.pid()).size();
    disk().hold(home());
    const Request first = beginPut("1", 1);
    ASSERT_TRUE(disk().holds());
    const Request second = beginPut("2", 1);
    const Request third = begin("GetItem", {{"Key", key("1")}});
    const Request fourth = beginPut("4", 1);
    expectOnlyTheseWait(first, second, third, fourth);
    first->goAway(false);
    second->goAway(true);
    third->goAway(true);
    expectOnlyTheseWait(fourth);
    disk().release();
    EXPECT_EQ(fourth->reply(), okReply({{"Attributes", number(1)}}));
    EXPECT_TRUE(waitUntil([&] { return ProcFs::descriptors(server_.pid()).size() <= before + 1; }))
        << "the connections of those who have left are closed";
    restartServer();
    for (const char* range : {"1", "2", "4"})
        EXPECT_EQ(numberOf(range), 1) << range;
}

TEST_F(WaitingReplies, AreSentBeforeTheirEnvironmentIsClosed)
{
    disk().hold(home());
    const Request first = beginPut("1", 1);
    ASSERT_TRUE(disk().holds());
    const Request second = beginPut("2", 1);
    const Request reader = begin("GetItem", {{"Key", key("1")}});
    expectOnlyTheseWait(first, second, reader);
    const Request closing = begin("DeleteTable", {});
    for (int i = 0; i < 30; ++i)
        EXPECT_EQ(putInto(far(), "1", 1).value("__rc"), QVariant(200LL));
    for (const Request* one : {&first, &second, &reader, &closing})
        EXPECT_FALSE((*one)->isAnswered());
    disk().release();
    EXPECT_EQ(first->reply(), okReply({{"Attributes", number(1)}}));
    EXPECT_EQ(second->reply(), okReply({{"Attributes", number(1)}}));
    EXPECT_EQ(reader->reply(), okReply({{"Item", number(1)}}));
    EXPECT_EQ(closing->reply(), okReply());
    EXPECT_EQ(numberOf("1"), 1) << "opened anew";
    EXPECT_EQ(numberOf("2"), 1);
    restartServer();
    EXPECT_EQ(numberOf("1"), 1);
    EXPECT_EQ(numberOf("2"), 1);
}

TEST_F(WaitingReplies, DoNotKeepFlushDbFromWaitingAsWell)
{
    disk().hold(home());
    const Request write = beginPut("1", 1);
    ASSERT_TRUE(disk().holds());
    const Request flush = begin("UpdateTable", {{"ProvisionedThroughput", QVariantMap{{"FlushDB", "1"}}}});
    expectOnlyTheseWait(write, flush);
    disk().release();
    EXPECT_EQ(write->reply(), okReply({{"Attributes", number(1)}}));
    EXPECT_EQ(flush->reply(), okReply({{"TableDescription", QVariantMap{{"TableStatus", "ACTIVE"}}}}));
}

/**
 * What a write that was refused has done may be seen, as with every failure of which it is not known how far it got.
 * What was acknowledged stays.
 */
TEST_F(WaitingReplies, OfWritesAreErrorsWhenTheLogCannotBeWritten)
{
    disk().hold(home());
    const Request first = beginPut("1", 1);
    ASSERT_TRUE(disk().holds());
    disk().fill(home()); // the one that is held has been written
    const Request put = beginPut("2", 2);
    const Request update =
        begin("UpdateItem", {{"Key", key("3")}, {"AttributeUpdates", change(2)}, {"ReturnValues", "ALL_NEW"}});
    const Request deletion = begin("DeleteItem", {{"Key", key("4")}, {"ReturnValues", "ALL_OLD"}});
    const QVariantMap unprocessed{{far(), entries("5", 2)}};
    const Request batch = beginBatch(merged(unprocessed, {{tableName(), entries("5", 2)}}));
    const Request reader = begin("GetItem", {{"Key", key("1")}});
    expectOnlyTheseWait(first, put, update, deletion, batch, reader);
    (void)takeComplaints(); // ignored: those of before
    disk().release();
    EXPECT_EQ(first->reply(), okReply({{"Attributes", number(1)}}));
    EXPECT_EQ(put->reply(), internalErrorReply());
    EXPECT_EQ(update->reply(), internalErrorReply());
    EXPECT_EQ(deletion->reply(), internalErrorReply({{"Attributes", QVariantMap()}}));
    EXPECT_EQ(batch->reply(), internalErrorReply({{"UnprocessedItems", unprocessed}}));
    EXPECT_EQ(reader->reply(), okReply({{"Item", number(1)}}));
    const std::vector<std::string> complaints = takeComplaints();
    EXPECT_EQ(std::count(complaints.begin(), complaints.end(), "[ERROR] bdb # txn commit failed rc 28"), 4);
    EXPECT_EQ(std::count(complaints.begin(), complaints.end(), composeError(28)), 4);

    // As long as there is no room: writes fail, reads are answered.
    EXPECT_EQ(putInto(tableName(), "6", 2), internalErrorReply());
    EXPECT_EQ(numberOf("1"), 1);
    EXPECT_EQ(numberOf("7"), 0);
    disk().makeRoom();
    EXPECT_EQ(putInto(tableName(), "6", 3), okReply({{"Attributes", number(3)}}));
    EXPECT_EQ(request("DeleteItem", {{"TableName", tableName()}, {"Key", key("7")}}), okReply());
    std::vector<int> seen;
    for (int i = 1; i <= 9; ++i)
        seen.push_back(numberOf(QString::number(i)));
    EXPECT_EQ(seen[0], 1);
    EXPECT_EQ(seen[5], 3);
    EXPECT_EQ(seen[6], -1);
    restartServer();
    for (int i = 1; i <= 9; ++i)
        EXPECT_EQ(numberOf(QString::number(i)), seen[static_cast<std::size_t>(i - 1)]) << i;
    EXPECT_EQ(putInto(tableName(), "6", 4), okReply({{"Attributes", number(4)}}));
}

class WithoutWaiting : public WaitingReplies {
protected:
    WithoutWaiting() : WaitingReplies({"-n"}) {}
};

TEST_F(WithoutWaiting, NobodyWaitsForTheDisk)
{
    disk().hold(home());
    EXPECT_EQ(beginPut("1", 1)->reply(), okReply({{"Attributes", number(1)}}));
    EXPECT_EQ(beginBatch({{tableName(), entries("2", 1)}})->reply(), okReply());
    EXPECT_EQ(begin("UpdateItem", {{"Key", key("3")}, {"AttributeUpdates", change(1)}})->reply(), okReply());
    EXPECT_EQ(begin("DeleteItem", {{"Key", key("4")}})->reply(), okReply());
    EXPECT_EQ(numberOf("1"), 1);
    EXPECT_FALSE(disk().exists("held"));
}

} // namespace
