#include "request/storedenvironment.h"
#include "scanqueryfixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/**
 * Most tests put their items into the last partition and begin their scans there, with a start key in front of all
 * items: such a scan touches one file where another would create 256.
 */
class ScanTest : public ScanQueryTest {
protected:
    /** Items of the last partition, in the order in which a scan meets them. */
    QVariantList lastItems(int count, const QVariantMap& attributes = {}) const
    {
        QVariantList items;
        for (int n = 0; n < count; ++n)
            items.append(itemOf(hash_, QString("r%1").arg(n, 3, 10, QChar('0')), attributes));
        return items;
    }

    QVariantMap scanLast(const QVariantMap& fields = {}) { return scan(merged(atLast_, fields)); }

    const QString hash_ = hashIn(255);
    const QVariantMap atLast_{{"ExclusiveStartKey", itemKey(hash_, "")}};
};

TEST_F(ScanTest, EmptyTableWalksAllPartitions)
{
    EXPECT_EQ(scan(), scanReply({}, 0));
    std::set<std::string> expected{"t"};
    for (int partition = 0; partition < 256; ++partition)
        expected.insert(dataFile(partition));
    EXPECT_EQ(tableFiles(), expected);
    EXPECT_EQ(scan({{"Count", true}}), scanCounts(0, 0));
    EXPECT_EQ(scan({{"Limit", 1}, {"AttributesToGet", QStringList{"v"}}}), scanReply({}, 0));
    EXPECT_THAT(takeComplaints(), IsEmpty());
}

TEST_F(ScanTest, OnePageGoesOverAllPartitionsInTheirOrder)
{
    QVariantList items;
    for (const int partition : {0, 1, 9, 10, 0x7f, 0x80, 0xfe, 0xff}) {
        for (const char* range : {"", "a", "\xc3\xa9"})
            items.append(itemOf(hashIn(partition), range, {{"v", numberValue(QString::number(partition))}}));
    }
    QVariantList shuffled = items;
    std::reverse(shuffled.begin(), shuffled.end());
    putItems(shuffled);
    EXPECT_EQ(scan(), scanReply(items, 24));
    EXPECT_EQ(scan({{"Count", true}}), scanCounts(24, 24));

    // The limit is one budget for the whole walk: it runs out in the middle of a later partition.
    EXPECT_EQ(scan({{"Limit", 8}}), scanReply(items.mid(0, 8), 8, bareKey(hashIn(9), "a")));
    EXPECT_EQ(scan({{"Limit", 8}, {"Count", true}}),
              okReply({{"Count", 8}, {"ScannedCount", 8}, {"LastEvaluatedKey", bareKey(hashIn(9), "a")}}));
    EXPECT_EQ(scan({{"Limit", 24}}), scanReply(items, 24, bareKey(hashIn(255), "\xc3\xa9")));
    EXPECT_EQ(scan({{"Limit", 25}}), scanReply(items, 24));

    // A start key lies in the partition of its hash key, whether its record exists or not.
    EXPECT_EQ(scan({{"ExclusiveStartKey", itemKey(hashIn(10), "a")}}), scanReply(items.mid(11), 13));
    EXPECT_EQ(scan({{"ExclusiveStartKey", itemKey(hashIn(10), "b")}}), scanReply(items.mid(11), 13));
    EXPECT_EQ(scan({{"ExclusiveStartKey", itemKey(hashIn(0x81), "z")}}), scanReply(items.mid(18), 6));
    EXPECT_EQ(scan({{"ExclusiveStartKey", itemKey(hashIn(255), "\xc3\xa9")}}), scanReply({}, 0));
    EXPECT_THAT(takeComplaints(), IsEmpty());
}

TEST_F(ScanTest, PageThatFillsUpDoesNotOpenFurtherPartitions)
{
    const QString first = hashIn(0);
    putItems({itemOf(first, "1"), itemOf(first, "2")});
    EXPECT_EQ(scan({{"Limit", 2}}), scanReply({itemOf(first, "1"), itemOf(first, "2")}, 2, bareKey(first, "2")));
    EXPECT_EQ(tableFiles(), (std::set<std::string>{"t", dataFile(0)}));
}

TEST_F(ScanTest, LimitIs128WhenNoneIsGiven)
{
    const QVariantList items = lastItems(130);
    putItems(items);
    EXPECT_EQ(scanLast(), scanReply(items.mid(0, 128), 128, bareKey(hash_, "r127")));
    EXPECT_EQ(tableFiles(), (std::set<std::string>{"t", dataFile(255)}));
}

TEST_F(ScanTest, LimitForms)
{
    putItems(lastItems(5));
    struct Case {
        QVariant limit;
        int examined;
    };
    const Case cases[] = {
        {1, 1},
        {2, 2},
        {5, 5},
        {6, 5},
        // One record is examined before the limit is asked.
        {0, 1},
        {-1, 1},
        {std::numeric_limits<qlonglong>::min(), 1},
        {std::numeric_limits<qlonglong>::max(), 5},
        {qlonglong(1) << 32, 5},
        // What is no integer is read as one.
        {"3", 3},
        {" 3 ", 3},
        {"three", 1},
        {"", 1},
        {2.4, 2},
        {2.5, 3},
        {true, 1},
        {QVariant(), 1},
        {QVariantList{3}, 1},
        {QVariantMap{{"N", "3"}}, 1},
    };
    for (const Case& c : cases) {
        const QVariantMap reply = scanLast({{"Limit", c.limit}});
        const QVariantMap lastKey = c.examined < 5 || c.limit == QVariant(5)
                                        ? bareKey(hash_, QString("r00%1").arg(c.examined - 1))
                                        : QVariantMap();
        EXPECT_EQ(reply, scanReply(lastItems(5).mid(0, c.examined), c.examined, lastKey))
            << Json::serialize(c.limit).toStdString();
    }
}

TEST_F(ScanTest, LimitOfNothingAtAStartKeyThatIsThereExaminesNothing)
{
    putItems(lastItems(3));
    EXPECT_EQ(scan({{"ExclusiveStartKey", itemKey(hash_, "r001")}, {"Limit", 0}}),
              scanReply({}, 0, bareKey(hash_, "r001")));
}

TEST_F(ScanTest, CountForms)
{
    putItems(lastItems(1));
    const QVariantList yes{true, 1, -1, 0.5, "true", "yes", "no", "x"};
    const QVariantList no{
        false, 0, 0.0, "", "false", "FALSE", "0", QVariant(), QVariantList{true}, QVariantMap{{"a", 1}}};
    for (const QVariant& count : yes)
        EXPECT_EQ(scanLast({{"Count", count}}), scanCounts(1, 1)) << Json::serialize(count).toStdString();
    for (const QVariant& count : no)
        EXPECT_EQ(scanLast({{"Count", count}}), scanReply(lastItems(1), 1)) << Json::serialize(count).toStdString();
}

TEST_F(ScanTest, AttributesToGetKeepsTheKeyAttributes)
{
    const QVariantMap stored{{"a", textValue("1")}, {"b", numberValue("2")}, {"5", textValue("five")}};
    putItems({itemOf(hash_, "r", stored)});
    struct Case {
        QVariant wanted;
        QStringList kept;
    };
    const Case cases[] = {
        {QStringList{"a"}, {"a"}},
        {QStringList{"a", "b", "b", "missing"}, {"a", "b"}},
        {QStringList{"h"}, {}},
        {QStringList{"missing"}, {}},
        {QStringList{"A"}, {}},
        {QVariantList{5}, {"5"}},
        {QVariantList{QVariant()}, {}},
        {QVariantList{textValue("a")}, {}},
        // Nothing is cut off without a name.
        {QVariantList(), {"5", "a", "b"}},
        {QVariant(), {"5", "a", "b"}},
        {7, {"5", "a", "b"}},
        {"a", {"5", "a", "b"}},
        {QVariantMap{{"a", "a"}}, {"5", "a", "b"}},
    };
    for (const Case& c : cases) {
        QVariantMap attributes;
        for (const QString& name : c.kept)
            attributes.insert(name, stored.value(name));
        EXPECT_EQ(scanLast({{"AttributesToGet", c.wanted}}), scanReply({itemOf(hash_, "r", attributes)}, 1))
            << Json::serialize(c.wanted).toStdString();
    }
    EXPECT_EQ(scanLast({{"AttributesToGet", QStringList{"a"}}, {"Count", true}}), scanCounts(1, 1));
}

TEST_F(ScanTest, FieldsOfOtherOperationsAreIgnored)
{
    putItems(lastItems(2));
    EXPECT_EQ(scanLast({{"HashKeyValue", textValue("nobody")},
                        {"ScanIndexForward", false},
                        {"RangeKeyCondition", condition("EQ", {"none"})},
                        {"ConsistentRead", true}}),
              scanReply(lastItems(2), 2));
}

TEST_F(ScanTest, LastEvaluatedKeyHoldsBareStrings)
{
    putItems(lastItems(3));
    const QVariantMap reply = scanLast({{"Limit", 1}});
    EXPECT_EQ(reply, scanReply(lastItems(1), 1, bareKey(hash_, "r000")));
    (void)takeComplaints();

    // They do not serve as a start key before they are wrapped.
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
    // Latin-1 keys come back as they were, also the empty range key; a key with U+0000 is shown only in front of it.
    const QString high = QString::fromUtf8("\xc3\xa9\xc3\xbf");
    const QString zero = QString("a") + QChar(0) + 'b';
    putItems({itemOf(hash_, ""), itemOf(hash_, zero), itemOf(hash_, high)});
    const QVariantList items{itemOf(hash_, ""), itemOf(hash_, "a"), itemOf(hash_, high)};
    const QVariantMap start{{"ExclusiveStartKey", itemKey(hash_, "")}};
    EXPECT_EQ(scan(start), scanReply(items.mid(1), 2)); // the empty range key is a record of its own, and skipped
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
    EXPECT_EQ(tableFiles(), std::set<std::string>{"t"}); // they fail in front of any walk
}

TEST_F(ScanTest, StartKeyElementsThatAreNoStringsAreReadAsSuch)
{
    putItems(lastItems(2));
    const QVariantMap start{{"HashKeyElement", QVariantMap{{"S", hash_}}}, {"RangeKeyElement", QVariantMap{{"S", 5}}}};
    EXPECT_EQ(scan({{"ExclusiveStartKey", start}}), scanReply(lastItems(2), 2)); // "5" lies in front of "r000"
}

TEST_F(ScanTest, EmptyStartHashBeginsAtTheBeginning)
{
    // Kept so: a scan cannot go on behind an empty hash key, whose last key therefore leads back to the first page.
    ASSERT_GT(partitionOfHash(""), 0);
    const QVariantMap first = itemOf(hashIn(0), "1");
    putItems({first, itemOf("", "1"), itemOf("", "2")});
    EXPECT_EQ(scan({{"Limit", 1}, {"ExclusiveStartKey", itemKey("", "1")}}),
              scanReply({first}, 1, bareKey(hashIn(0), "1")));
    EXPECT_EQ(tableFiles(), (std::set<std::string>{"t", dataFile(0), dataFile(partitionOfHash(""))}));
}

TEST_F(ScanTest, FilterOnKeyNames)
{
    const QVariantList items = lastItems(6, {{"v", textValue("r001")}});
    putItems(items);
    struct Case {
        QVariantMap filter;
        QList<int> matches;
    };
    const QVariantMap all{{"h", condition("EQ", {hash_})}};
    const Case cases[] = {
        {{}, {0, 1, 2, 3, 4, 5}},
        {all, {0, 1, 2, 3, 4, 5}},
        {{{"h", condition("EQ", {"other"})}}, {}},
        {{{"h", condition("BEGINS_WITH", {"k"})}}, {0, 1, 2, 3, 4, 5}},
        {{{"r", condition("EQ", {"r003"})}}, {3}},
        {{{"r", condition("LE", {"r003"})}}, {0, 1, 2, 3}},
        {{{"r", condition("LT", {"r003"})}}, {0, 1, 2}},
        {{{"r", condition("GE", {"r003"})}}, {3, 4, 5}},
        {{{"r", condition("GT", {"r003"})}}, {4, 5}},
        {{{"r", condition("BEGINS_WITH", {"r00"})}}, {0, 1, 2, 3, 4, 5}},
        {{{"r", condition("BEGINS_WITH", {"r004"})}}, {4}},
        {{{"r", condition("BETWEEN", {"r001", "r003"})}}, {1, 2, 3}},
        {{{"r", condition("BETWEEN", {"r003", "r001"})}}, {}},
        {merged(all, {{"r", condition("GT", {"r004"})}}), {5}},
        {{{"h", condition("LT", {hash_})}, {"r", condition("GT", {"r004"})}}, {}},
        // Operators that are unknown match all, whatever they ask.
        {{{"r", condition("NE", {"r003"})}}, {0, 1, 2, 3, 4, 5}},
        {{{"r", condition("IN", {"r003"})}}, {0, 1, 2, 3, 4, 5}},
        {{{"h", condition("CONTAINS", {"zzz"})}}, {0, 1, 2, 3, 4, 5}},
        // Conditions on other attributes are evaluated nowhere, well-formed or not.
        {{{"v", condition("EQ", {"r002"})}}, {0, 1, 2, 3, 4, 5}},
        {{{"w", condition("EQ", {"r002"})}, {"x", 5}, {"v", QVariantMap{{"ComparisonOperator", "EQ"}}}},
         {0, 1, 2, 3, 4, 5}},
        // No operator, no condition.
        {{{"r", QVariantMap{{"AttributeValueList", QVariantList{textValue("r003")}}}}}, {0, 1, 2, 3, 4, 5}},
        {{{"r", QVariantMap()}, {"h", "EQ"}}, {0, 1, 2, 3, 4, 5}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(Json::serialize(c.filter).toStdString());
        QVariantList matching;
        for (const int n : c.matches)
            matching.append(items.at(n));
        EXPECT_EQ(scanLast({{"ScanFilter", c.filter}}), scanReply(matching, 6));
        EXPECT_EQ(scanLast({{"ScanFilter", c.filter}, {"Count", true}}),
                  scanCounts(static_cast<int>(c.matches.size()), 6));
    }
    EXPECT_THAT(takeComplaints(), IsEmpty());
    for (const QVariant& filter : QVariantList{QVariant(), "r", 5, QVariantList{all}})
        EXPECT_EQ(scanLast({{"ScanFilter", filter}}), scanReply(items, 6)) << Json::serialize(filter).toStdString();
}

TEST_F(ScanTest, LimitCountsExaminedItemsAndTheLastKeyNeedNotMatch)
{
    const QVariantList items = lastItems(4);
    putItems(items);
    const QVariantMap filter{{"ScanFilter", QVariantMap{{"r", condition("EQ", {"r002"})}}}};
    EXPECT_EQ(scanLast(merged(filter, {{"Limit", 1}})), scanReply({}, 1, bareKey(hash_, "r000")));
    EXPECT_EQ(scanLast(merged(filter, {{"Limit", 3}})), scanReply({items.at(2)}, 3, bareKey(hash_, "r002")));
    EXPECT_EQ(scanLast(merged(filter, {{"Limit", 9}})), scanReply({items.at(2)}, 4));
}

TEST_F(ScanTest, MalformedFiltersFailWithZeroCounts)
{
    putItems(lastItems(2));
    struct Case {
        QVariantMap condition;
        std::string line;
    };
    QVariantMap number = condition("EQ", {"x"});
    number.insert("AttributeValueList", QVariantList{numberValue("5")});
    const Case cases[] = {
        {{{"ComparisonOperator", "EQ"}}, "attr value list missing"},
        {condition("EQ", {}), "incomplete value list count 0"},
        {condition("EQ", {"a", "b"}), "incomplete value list count 2"},
        {condition("BETWEEN", {"a"}), "incomplete value list count 1"},
        {condition("BETWEEN", {"a", "b", "c"}), "incomplete value list count 3"},
        {condition("NOT_NULL", {}), "incomplete value list count 0"},
        {number, "wrong key"},
    };
    const QVariantMap zero{{"Count", 0}, {"ScannedCount", 0}};
    for (const Case& c : cases) {
        for (const char* name : {"h", "r"}) {
            SCOPED_TRACE(c.line + ' ' + name);
            const QVariantMap filter{{"ScanFilter", QVariantMap{{name, c.condition}}}};
            EXPECT_EQ(scanLast(filter), internalErrorReply(merged(zero, {{"Items", QVariantList()}})));
            EXPECT_EQ(takeComplaints(), complaints(c.line));
            EXPECT_EQ(scanLast(merged(filter, {{"Count", true}})), internalErrorReply(zero));
            EXPECT_EQ(takeComplaints(), complaints(c.line));
        }
    }
    EXPECT_EQ(scanLast({{"ScanFilter", QVariantMap{{"r", condition("EQ", {QChar(0x394)})}}}}),
              invalidRequestReply(merged(zero, {{"Items", QVariantList()}})));
    EXPECT_THAT(takeComplaints(), ElementsAre("[ERROR] bdbrequest # key holds a character outside Latin-1"));
}

TEST_F(ScanTest, TableWithoutASchemaFailsWithZeroCounts)
{
    const QVariantMap zero{{"Count", 0}, {"ScannedCount", 0}};
    const QVariantMap never{{"TableName", tableName("never")}};
    EXPECT_EQ(request("Scan", never), internalErrorReply(merged(zero, {{"Items", QVariantList()}})));
    EXPECT_EQ(takeComplaints(), complaints("schema load failed rc 3"));
    EXPECT_EQ(request("Scan", merged(never, {{"Count", true}})), internalErrorReply(zero));
    EXPECT_EQ(takeComplaints(), complaints("schema load failed rc 3"));
    EXPECT_EQ(tableFiles("never"), std::set<std::string>{"never"});

    // A bad start key is found first.
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

TEST_F(ScanTest, KeyNamesComeFromTheSchema)
{
    createTable(tableName(), keySchema("from", "until"));
    const QVariantMap item{{"from", textValue(hash_)}, {"until", textValue("z")}, {"h", textValue("1")}};
    putItems({item});
    EXPECT_EQ(scanLast({{"AttributesToGet", QStringList{"x"}}}),
              scanReply({QVariantMap{{"from", textValue(hash_)}, {"until", textValue("z")}}}, 1));
    EXPECT_EQ(scanLast({{"ScanFilter", QVariantMap{{"h", condition("EQ", {"2"})}}}}), scanReply({item}, 1));
    EXPECT_EQ(scanLast({{"ScanFilter", QVariantMap{{"until", condition("EQ", {"2"})}}}}), scanReply({}, 1));
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

/** Records that only another writer of the files can have made. */
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

TEST_F(ScanStoredTest, TextThatIsNotJsonFailsWithZeroCounts)
{
    putItems(lastItems(3));
    store(keyOf("r001"), "{\"v\":");
    EXPECT_EQ(scanLast(), internalErrorReply(failed_));
    EXPECT_EQ(takeComplaints(), complaints("scanDb Failed to parse"));
    // What comes in front of it can still be read.
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

TEST_F(ScanTest, LargeItemsAreAnsweredWhole)
{
    QVariantList items;
    for (int n = 0; n < 20; ++n)
        items.append(itemOf(hash_, QString("r%1").arg(n + 10), {{"v", textValue(QString(4000 + 25000 * n, 'x'))}}));
    putItems(items);
    EXPECT_TRUE(scanLast() == scanReply(items, 20));
    EXPECT_TRUE(query({{"HashKeyValue", textValue(hash_)}}) == queryReply(items));
}

} // namespace
