#include "scanfixture.h"

#include "request/storedenvironment.h"

namespace {

using testing::ElementsAre;

/** Records that only another program can have written. */
class ScanStoredTest : public ScanTest {
protected:
    void store(const QByteArray& key, const QByteArray& value)
    {
        EXPECT_EQ(request("DeleteTable", {{"TableName", tableName()}}), okReply()); // closes its files
        StoredEnvironment(home()).put(dataFile(255), "data", key, value);
    }

    QByteArray keyOf(const QByteArray& range) const
    {
        return QByteArray::number(hash_.size()).rightJustified(4, '0') + hash_.toLatin1() + range;
    }

    const QVariantMap failed_{{"Count", 0}, {"ScannedCount", 0}, {"Items", QVariantList()}};
};

TEST_F(ScanTest, TableWithoutASchemaFailsWithZeroCounts)
{
    const QVariantMap zero{{"Count", 0}, {"ScannedCount", 0}};
    const QVariantMap never{{"TableName", tableName("never")}};
    EXPECT_EQ(request("Scan", never), internalErrorReply(merged(zero, {{"Items", QVariantList()}})));
    EXPECT_EQ(takeComplaints(), complaints("schema load failed rc 3"));
    EXPECT_EQ(request("Scan", merged(never, {{"Count", true}})), internalErrorReply(zero));
    EXPECT_EQ(takeComplaints(), complaints("schema load failed rc 3"));
    EXPECT_EQ(tableFiles("never"), std::set<std::string>{}); // reading creates none

    // An invalid start key is detected first.
    EXPECT_EQ(request("Scan", merged(never, {{"ExclusiveStartKey", QVariantMap()}})), internalErrorReply());
    EXPECT_EQ(takeComplaints(), complaints("hash key missing"));
}

TEST_F(ScanTest, UnusableKeySchemaFailsWithoutCounts)
{
    struct Case {
        QVariantMap schema;
        std::string line;
    };
    const QVariantMap bad{{"AttributeName", "x"}};
    const Case cases[] = {
        {{}, "hash key missing"},
        {{{"RangeKeyElement", schemaElement("r")}}, "hash key missing"},
        {{{"HashKeyElement", bad}, {"RangeKeyElement", schemaElement("r")}}, "schema attr missing"},
        {{{"HashKeyElement", schemaElement("h", "N")}}, "wrong hash-key"},
        {{{"HashKeyElement", schemaElement("h")}}, "range key missing"},
        {{{"HashKeyElement", schemaElement("h")}, {"RangeKeyElement", bad}}, "schema attr missing"},
        {{{"HashKeyElement", schemaElement("h")}, {"RangeKeyElement", schemaElement("r", "B")}}, "wrong range-key"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.line);
        createTable(tableName(), c.schema);
        EXPECT_EQ(scan(), internalErrorReply());
        EXPECT_EQ(takeComplaints(), complaints(c.line));
        EXPECT_EQ(query({{"HashKeyValue", textValue("h")}}), internalErrorReply());
        EXPECT_EQ(takeComplaints(), complaints(c.line));
    }
    EXPECT_EQ(tableFiles(), std::set<std::string>{"t"});
}

TEST_F(ScanTest, EnvironmentThatCannotBeOpenedIsNotFound)
{
    const QString name = QString::fromStdString(home()) + "/missing|t";
    EXPECT_EQ(request("Scan", {{"TableName", name}}), notFoundReply());
    EXPECT_EQ(request("Scan", {{"TableName", name}, {"Count", true}, {"ExclusiveStartKey", QVariantMap()}}),
              notFoundReply());
    EXPECT_EQ(request("Scan", {}), notFoundReply());
    for (const QVariant& table : QVariantList{QVariant(), QVariantMap{{"S", "t"}}, QVariantList{name}})
        EXPECT_EQ(request("Scan", {{"TableName", table}}), notFoundReply());
    for (const std::string& line : takeComplaints()) {
        EXPECT_TRUE(line.starts_with("[CRIT] bdb # Failed to open env path: ") ||
                    line.starts_with("[ERROR] bdb # BDB: "))
            << line;
    }
}

TEST_F(ScanTest, EnvironmentThatIsBeingDeletedIsNotFound)
{
    const Client::WireConnection deleter = keepDeleteWaiting();
    EXPECT_TRUE(isRefused("Scan", {{"TableName", tableName()}, {"ExclusiveStartKey", QVariantMap()}}));
}

TEST_F(ScanTest, PartitionThatCannotBeOpenedFailsWithoutCounts)
{
    ASSERT_TRUE(std::filesystem::create_directory(home() + '/' + dataFile(255)));
    EXPECT_EQ(scanLast(), internalErrorReply());
    std::vector<std::string> lines = takeComplaints();
    std::erase_if(lines, [](const std::string& line) { return line.starts_with("[ERROR] bdb # BDB: "); });
    EXPECT_THAT(lines,
                ElementsAre(testing::MatchesRegex(
                                "\\[CRIT\\] bdb # Failed to open DB dbpath: t_ff.db dbname data rc .* flags 289"),
                            composeError(12)));
}

TEST_F(ScanStoredTest, TextThatIsNotJsonFailsWithZeroCounts)
{
    putItems(lastItems(3));
    store(keyOf("r001"), "{\"v\":");
    EXPECT_EQ(scanLast(), internalErrorReply(failed_));
    EXPECT_EQ(takeComplaints(), complaints("scanDb Failed to parse"));
    // Items that precede it can still be read.
    EXPECT_EQ(scanLast({{"Limit", 1}}), scanReply(lastItems(1), 1, bareKey(hash_, "r000")));
    EXPECT_EQ(query({{"HashKeyValue", textValue(hash_)}}),
              internalErrorReply({{"Count", 0}, {"Items", QVariantList()}}));
    EXPECT_EQ(takeComplaints(), complaints("queryDb Failed to parse"));
    EXPECT_EQ(query({{"HashKeyValue", textValue(hash_)}, {"Count", true}}), okReply({{"Count", 3}}));
}

TEST_F(ScanStoredTest, CorruptKeyFailsWithZeroCounts)
{
    putItems(lastItems(3));
    store("x", "{}");
    EXPECT_EQ(scanLast(), internalErrorReply(failed_));
    EXPECT_EQ(takeComplaints(), complaints("scanDb Key format corruption"));
    EXPECT_EQ(query({{"HashKeyValue", textValue(hash_)}}), queryReply(lastItems(3)));
}

TEST_F(ScanTest, ValueThatIsTooLargeToReadFailsWithZeroCounts)
{
    const QVariantList items = lastItems(2);
    putItems(items);
    EXPECT_EQ(put(hash_, "r0005", {{"v", textValue(QString(0x80000, 'x'))}}).value("__rc"), QVariant(200));
    const QVariantMap zero{{"Count", 0}, {"Items", QVariantList()}};
    EXPECT_EQ(scanLast(), internalErrorReply(merged(zero, {{"ScannedCount", 0}})));
    std::vector<std::string> lines = takeComplaints();
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_TRUE(lines[0].starts_with("[ERROR] bdbrequest # scanDb cursor get failed for ")) << lines[0];
    EXPECT_EQ(lines[1], composeError(-30999));
    EXPECT_EQ(query({{"HashKeyValue", textValue(hash_)}, {"ScanIndexForward", false}}), internalErrorReply(zero));
    lines = takeComplaints();
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_TRUE(lines[0].starts_with("[ERROR] bdbrequest # queryDb cursor get failed for ")) << lines[0];
    EXPECT_EQ(lines[1], composeError(-30999));
}

} // namespace
