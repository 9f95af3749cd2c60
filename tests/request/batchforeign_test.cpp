#include "scanqueryfixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/** Batches whose tables are in more than one environment. */
class BatchForeignTest : public ScanQueryTest {
protected:
    using ScanQueryTest::ScanQueryTest;

    void SetUp() override
    {
        ScanQueryTest::SetUp();
        createTable(foreignTable_);
        createTable(tableName("u"));
        (void)takeComplaints();
    }

    QVariantMap batchOf(const QVariantMap& tables) { return request("BatchWriteItem", {{"RequestItems", tables}}); }

    QVariantList stored(const QString& table, const QString& hash)
    {
        return request("Query", {{"TableName", table}, {"HashKeyValue", textValue(hash)}}).value("Items").toList();
    }

    std::string pathsDiffer(const std::string& directory) const
    {
        return "[ERROR] bdbrequest # paths ain't same newpath " + directory + " envDup " + home();
    }

    // Sorts after all tables of the first environment.
    const std::string foreignHome_ = makeDirectory("env~");
    const QString foreignTable_ = tableIn(foreignHome_, "t");
    const QVariantList entries_{putEntry(itemOf("q", "a")), deleteEntry("q", "b"), QVariantMap{{"odd", 1}}};
};

TEST_F(BatchForeignTest, TablesOfAnotherEnvironmentComeBackUnchanged)
{
    const QVariantMap back{{foreignTable_, entries_}};
    EXPECT_EQ(batchOf(merged({{tableName(), entries_}, {tableName("u"), entries_}}, back)),
              okReply({{"UnprocessedItems", back}}));
    EXPECT_THAT(takeComplaints(), ElementsAre(pathsDiffer(foreignHome_)));
    EXPECT_EQ(stored(tableName(), "q"), QVariantList{itemOf("q", "a")});
    EXPECT_EQ(stored(tableName("u"), "q"), QVariantList{itemOf("q", "a")});
    EXPECT_EQ(stored(foreignTable_, "q"), QVariantList());

    // What was returned can be sent again unchanged.
    EXPECT_EQ(batchOf(back), okReply());
    EXPECT_EQ(stored(foreignTable_, "q"), QVariantList{itemOf("q", "a")});
}

TEST_F(BatchForeignTest, TablesAfterTheForeignOneAreReturnedToo)
{
    // Processing stops at the first foreign table, whatever follows: a table without a schema, or a malformed list.
    const QString behind = tableIn(foreignHome_ + "~", "t");
    const QVariantMap back{{foreignTable_, entries_}, {behind, "no list"}, {tableIn(foreignHome_, "unknown"), 5}};
    EXPECT_EQ(batchOf(merged({{tableName(), entries_}}, back)), okReply({{"UnprocessedItems", back}}));
    EXPECT_THAT(takeComplaints(), ElementsAre(pathsDiffer(foreignHome_)));
    EXPECT_EQ(stored(tableName(), "q"), QVariantList{itemOf("q", "a")});
}

TEST_F(BatchForeignTest, AnotherSpellingOfTheDirectoryIsForeign)
{
    const QString spelled = tableIn(home() + "/.", "t");
    ASSERT_LT(spelled, tableName()); // "/" sorts before "|"
    EXPECT_EQ(batchOf({{spelled, entries_}, {tableName(), entries_}}),
              okReply({{"UnprocessedItems", QVariantMap{{tableName(), entries_}}}}));
    EXPECT_THAT(takeComplaints(),
                ElementsAre("[ERROR] bdbrequest # paths ain't same newpath " + home() + " envDup " + home() + "/."));
    // Both names refer to one environment with one lock, which has been released: DeleteTable does not wait.
    EXPECT_EQ(request("DeleteTable", {{"TableName", tableName()}}), okReply());
    EXPECT_EQ(stored(tableName(), "q"), QVariantList{itemOf("q", "a")});
}

TEST_F(BatchForeignTest, ErrorBeforeTheForeignTableReturnsEverything)
{
    const QVariantMap tables{{tableName(), QVariantList{putEntry({})}}, {foreignTable_, entries_}};
    EXPECT_EQ(batchOf(tables), internalErrorReply({{"UnprocessedItems", tables}}));
    EXPECT_EQ(takeComplaints(), complaints("attr missing"));
    EXPECT_EQ(request("DeleteTable", {{"TableName", tableName()}}), okReply()); // nothing is held
}

TEST_F(BatchForeignTest, WholeBatchesReleaseTheirEnvironment)
{
    EXPECT_EQ(batchOf({{tableName(), entries_}, {tableName("u"), entries_}}), okReply());
    EXPECT_EQ(request("DeleteTable", {{"TableName", tableName()}}), okReply());
}

TEST_F(BatchForeignTest, ForeignTableLeavesFirstEnvironmentHeld)
{
    EXPECT_EQ(batchOf({{tableName(), entries_}, {foreignTable_, entries_}}),
              okReply({{"UnprocessedItems", QVariantMap{{foreignTable_, entries_}}}}));
    // Meanwhile, requests to both environments are served.
    EXPECT_EQ(stored(tableName(), "q"), QVariantList{itemOf("q", "a")});
    EXPECT_EQ(request("DeleteTable", {{"TableName", foreignTable_}}), okReply());

    Client::WireConnection deleter = keepDeleteWaiting();
    EXPECT_TRUE(isRefused("Query", {{"TableName", tableName()}}));
    EXPECT_TRUE(isRefused("PutItem", {{"TableName", tableName("u")}, {"Item", itemOf("q", "z")}}));
    deleter.setReceiveTimeout(500);
    QByteArray reply;
    EXPECT_FALSE(deleter.receiveReply(&reply)) << "DeleteTable waits for good: " << reply.toStdString();

    // Other environments are not affected.
    createTable(foreignTable_);
    EXPECT_EQ(stored(foreignTable_, "q"), QVariantList());
}

/** The log goes to standard error, where Qt's own messages would appear as well. */
class BatchForeignMessageTest : public BatchForeignTest {
protected:
    BatchForeignMessageTest() : BatchForeignTest({.arguments = {"-n"}, .logFile = false}) {}
};

TEST_F(BatchForeignMessageTest, ReleaseOfAnotherEnvironmentIsSilent)
{
    (void)takeComplaints();
    EXPECT_EQ(batchOf({{tableName(), entries_}, {foreignTable_, entries_}}),
              okReply({{"UnprocessedItems", QVariantMap{{foreignTable_, entries_}}}}));
    EXPECT_EQ(batchOf({{tableName(), entries_}, {tableIn(foreignHome_ + "~"), entries_}}), // no such environment
              okReply({{"UnprocessedItems", QVariantMap{{tableIn(foreignHome_ + "~"), entries_}}}}));
    EXPECT_THAT(takeComplaints(), ElementsAre(pathsDiffer(foreignHome_), pathsDiffer(foreignHome_ + "~")));
    EXPECT_EQ(server_.errorText().find("QReadWriteLock"), std::string::npos) << server_.errorText();
    EXPECT_THAT(takeLines([](const std::string& line) { return !line.starts_with("["); }), IsEmpty());
}

} // namespace
