#include "records/encoding.h"
#include "request/requestbench.h"
#include "scanqueryfixture.h"
#include "storage/bdbenv.h"
#include "storage/bdbindex.h"
#include "storage/bdbtxn.h"
#include "support/deadline.h"
#include "support/lockwaits.h"
#include "support/logcapture.h"

#include <algorithm>
#include <cstdlib>
#include <thread>

namespace {

/** A place in a table that an operation passes on its way. */
struct Place {
    QString hash;
    QString range;
};

/** The transaction of a writer that is older than whatever the operation under test begins. */
class Writer {
public:
    explicit Writer(RequestBench& bench) : table_(bench.tableBytes())
    {
        bench.openEnvironment(&use_);
        EXPECT_EQ(txn_.begin(use_.env(), 0), 0);
    }
    Writer(const Writer&) = delete;
    Writer& operator=(const Writer&) = delete;

    /** Takes the write lock of an item that exists. Whoever is in the way and younger is told of a deadlock. */
    void take(const Place& place)
    {
        EXPECT_EQ(read(&txn_, place, DB_RMW), 0) << place.hash.toStdString() << ' ' << place.range.toStdString();
    }

    /** Whether an item is on a page that this transaction has not taken. */
    bool isElsewhere(const Place& place)
    {
        BDBTxn other;
        EXPECT_EQ(other.begin(use_.env(), DB_TXN_NOWAIT), 0);
        return read(&other, place, 0) == 0;
    }

    void end() { EXPECT_EQ(txn_.abort(), 0); }

    std::uintmax_t lockWaits() const { return ::lockWaits(use_.env()); }

private:
    int read(BDBTxn* txn, const Place& place, u_int32_t flags)
    {
        const QByteArray hash = place.hash.toLatin1();
        const QByteArray file =
            Records::filePart(Records::dataFileName(table_, Records::partitionOf(hash, PartitionCount)));
        BDBIndex* const db = RequestBench::openDatabase(use_.env(), file, TableNames::DataSubDatabase);
        QByteArray bytes = Records::recordKey(hash, place.range.toLatin1());
        Dbt keyData(bytes.data(), static_cast<u_int32_t>(bytes.size()));
        Dbt data;
        data.set_flags(DB_DBT_MALLOC);
        const int rc = db->get(txn, &keyData, &data, flags);
        std::free(data.get_data());
        return rc;
    }

    const QByteArray table_;
    EnvironmentUse use_;
    BDBTxn txn_;
};

/** Operations that lose one real deadlock after another and must answer as if nothing had been. */
class RetryTest : public testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(bench_.createTable().status, StatusSuccess); }

    QVariantMap inTable(const QVariantMap& fields) const { return merged({{"TableName", bench_.tableName()}}, fields); }

    void put(const QVariantList& items)
    {
        for (const QVariant& item : items)
            EXPECT_EQ(bench_.run("PutItem", inTable({{"Item", item}})).status, StatusSuccess);
    }

    /** Items of one hash key over many pages: a page has room for four of them. */
    static constexpr int Spread = 36;
    static QString rangeAt(int n) { return QString("%1").arg(n, 2, 10, QChar('0')); }
    static QVariantList spreadItems(const QString& hash)
    {
        QVariantList items;
        for (int n = 0; n < Spread; ++n)
            items.append(itemOf(hash, rangeAt(n), {{"fill", textValue(QString(400, 'f'))}}));
        return items;
    }
    /** An item of each of the first pages, one page behind the other: a walk holds the page that it is on. */
    std::vector<Place> placesOf(const QString& hash)
    {
        std::vector<Place> places{{hash, rangeAt(0)}};
        for (int n = 1; n < Spread && places.size() < 6; ++n) {
            Writer writer(bench_);
            writer.take(places.back());
            if (writer.isElsewhere({hash, rangeAt(n)}))
                places.push_back({hash, rangeAt(n)});
        }
        EXPECT_EQ(places.size(), 6U);
        return places;
    }

    /**
     * Runs the operation, which passes the places in their order, into one deadlock fewer than there are places: it
     * waits for the last one, loses when the writer asks for the place in front, waits there next time, and so on.
     * `lines` receives what had been logged when each attempt was under way.
     */
    Outcome lose(const QByteArray& operation, const QVariantMap& body, const std::vector<Place>& places,
                 std::vector<std::vector<std::string>>* lines)
    {
        const LogCapture log(LogWarn);
        Writer writer(bench_);
        writer.take(places.back());
        std::uintmax_t waits = writer.lockWaits();
        Outcome outcome{-1, {}};
        std::thread running([&] { outcome = bench_.run(operation, body); });
        for (auto place = places.rbegin();;) {
            waits += 1; // the operation's
            EXPECT_TRUE(waitUntil([&] { return writer.lockWaits() >= waits; }));
            lines->push_back(log.lines());
            if (++place == places.rend())
                break;
            writer.take(*place);
            waits += 1; // the writer's
        }
        writer.end();
        running.join();
        EXPECT_EQ(log.count("Got deadlock"),
                  std::count_if(lines->back().begin(), lines->back().end(),
                                [](const std::string& line) { return line.find("Got deadlock") != line.npos; }))
            << "a line for an attempt that did not fail";
        return outcome;
    }

    /** Lines that begin with the third deadlock in a row, for six attempts. */
    static std::vector<std::vector<std::string>> fromThird(const std::string& front, const std::string& back)
    {
        const std::string a = "[WARN] " + front + "8" + back;
        const std::string b = "[WARN] " + front + "16" + back;
        const std::string c = "[WARN] " + front + "32" + back;
        return {{}, {}, {}, {a}, {a, b}, {a, b, c}};
    }

    RequestBench bench_;

private:
    const Deadline deadline_{std::chrono::minutes(2)};
};

/** What is stored of an item and what an operation answers have their keys end in a zero byte; the text counts. */
QVariantMap asSent(const QVariantMap& reply)
{
    QVariant parsed;
    EXPECT_TRUE(Json::parse(Json::serialize(reply), &parsed));
    return parsed.toMap();
}

class ScanRetryTest : public RetryTest {
protected:
    void SetUp() override
    {
        RetryTest::SetUp();
        for (const int partition : {252, 253, 255})
            items_ += spreadItems(hashIn(partition));
        put(items_);
    }

    QVariantList items_;
};

TEST_F(ScanRetryTest, KeepsEarlierPartitionsAndDropsTheFailedAttempts)
{
    std::vector<std::vector<std::string>> lines;
    const QVariantMap body{{"ExclusiveStartKey", itemKey(hashIn(252), "!")}, {"Limit", 1000}};
    const Outcome outcome = lose("Scan", inTable(body), placesOf(hashIn(253)), &lines);
    EXPECT_EQ(outcome.status, StatusSuccess);
    EXPECT_EQ(asSent(outcome.reply), (QVariantMap{{"Count", 108}, {"ScannedCount", 108}, {"Items", items_}}));
    // The start key belongs to the first partition of a walk only.
    EXPECT_EQ(lines, fromThird("scanTable Got deadlock: retry ", " hkey  rkey "));
}

TEST_F(ScanRetryTest, KeepsTheBudgetOfEarlierPartitions)
{
    std::vector<Place> places = placesOf(hashIn(253));
    places.erase(places.begin(), places.begin() + 3);
    std::vector<std::vector<std::string>> lines;
    const QVariantMap body{{"ExclusiveStartKey", itemKey(hashIn(252), "")}, {"Limit", Spread + 35}};
    const Outcome outcome = lose("Scan", inTable(body), places, &lines);
    EXPECT_EQ(outcome.status, StatusSuccess);
    EXPECT_EQ(asSent(outcome.reply), (QVariantMap{{"Count", Spread + 35},
                                                  {"ScannedCount", Spread + 35},
                                                  {"Items", items_.mid(0, Spread + 35)},
                                                  {"LastEvaluatedKey", bareKey(hashIn(253), "34")}}));
    EXPECT_EQ(lines, std::vector<std::vector<std::string>>(3)); // two deadlocks in a row are silent
}

TEST_F(ScanRetryTest, BeginsAgainBehindItsStartKey)
{
    const QString hash = hashIn(255);
    std::vector<std::vector<std::string>> lines;
    const QVariantMap body{{"ExclusiveStartKey", itemKey(hash, "00")}, {"Count", true}};
    const Outcome outcome = lose("Scan", inTable(body), placesOf(hash), &lines);
    EXPECT_EQ(outcome, (Outcome{StatusSuccess, {{"Count", 35}, {"ScannedCount", 35}}}));
    EXPECT_EQ(lines, fromThird("scanTable Got deadlock: retry ", " hkey " + hash.toStdString() + " rkey 00"));
}

class QueryRetryTest : public RetryTest {
protected:
    void SetUp() override
    {
        RetryTest::SetUp();
        put(items_);
        places_ = placesOf("q");
    }

    QVariantList items_ = spreadItems("q");
    std::vector<Place> places_;
};

TEST_F(QueryRetryTest, ForwardDropsTheFailedAttempts)
{
    std::vector<std::vector<std::string>> lines;
    const Outcome outcome = lose("Query", inTable({{"HashKeyValue", textValue("q")}}), places_, &lines);
    EXPECT_EQ(outcome.status, StatusSuccess);
    EXPECT_EQ(asSent(outcome.reply), (QVariantMap{{"Count", 36}, {"Items", items_}}));
    EXPECT_EQ(lines, fromThird("queryTable Got deadlock: retry ", " hkey q rkey "));
}

TEST_F(QueryRetryTest, BackwardDropsTheFailedAttempts)
{
    std::reverse(places_.begin(), places_.end());
    std::reverse(items_.begin(), items_.end());
    std::vector<std::vector<std::string>> lines;
    const QVariantMap body{{"ExclusiveStartKey", itemKey("q", "6")}, {"ScanIndexForward", false}, {"Limit", 36}};
    const Outcome outcome = lose("Query", inTable(body), places_, &lines);
    EXPECT_EQ(outcome.status, StatusSuccess);
    EXPECT_EQ(asSent(outcome.reply),
              (QVariantMap{{"Count", 36},
                           {"Items", items_},
                           {"LastEvaluatedKey", QVariantMap{{"HashKeyElement", "q"}, {"RangeKeyElement", "00"}}}}));
    EXPECT_EQ(lines, fromThird("queryTable Got deadlock: retry ", " hkey q rkey 6"));
}

class BatchRetryTest : public RetryTest {
protected:
    static constexpr int Entries = 7;

    void SetUp() override
    {
        RetryTest::SetUp();
        for (int n = 0; n < Entries; ++n) {
            const QString hash = hashIn(10 * n);
            places_.push_back({hash, "r"});
            before_.append(itemOf(hash, "r", {{"v", textValue("before")}}));
            after_.append(itemOf(hash, "r", {{"v", textValue("after")}}));
            entries_.append(putEntry(after_.last().toMap()));
        }
        put(before_);
    }

    QVariantList stored()
    {
        QVariantList items;
        for (const Place& place : places_) {
            const Outcome outcome = bench_.run("Query", inTable({{"HashKeyValue", textValue(place.hash)}}));
            items += asSent(outcome.reply).value("Items").toList();
        }
        return items;
    }

    /** One attempt later than the other operations. */
    const std::string a_ = "[WARN] WriteBatchItem Got deadlock retry 8";
    const std::string b_ = "[WARN] WriteBatchItem Got deadlock retry 16";
    const std::string c_ = "[WARN] WriteBatchItem Got deadlock retry 32";
    const std::vector<std::vector<std::string>> fromFourth_{{}, {}, {}, {}, {a_}, {a_, b_}, {a_, b_, c_}};

    std::vector<Place> places_;
    QVariantList before_;
    QVariantList after_;
    QVariantList entries_;
};

TEST_F(BatchRetryTest, BeginsAgainWithItsFirstEntry)
{
    std::vector<std::vector<std::string>> lines;
    const QVariantMap body{{"RequestItems", QVariantMap{{bench_.tableName(), entries_}}}};
    EXPECT_EQ(lose("BatchWriteItem", body, places_, &lines), (Outcome{StatusSuccess, {}}));
    EXPECT_EQ(lines, fromFourth_);
    EXPECT_EQ(stored(), after_);
}

TEST_F(BatchRetryTest, RefusedEntryAfterDeadlocksWritesNothing)
{
    std::vector<std::vector<std::string>> lines;
    entries_.append(entries_.first());
    const QVariantMap tables{{bench_.tableName(), entries_}};
    EXPECT_EQ(lose("BatchWriteItem", {{"RequestItems", tables}}, {places_.end() - 2, places_.end()}, &lines),
              (Outcome{StatusConditionFailed, {{"UnprocessedItems", tables}}}));
    EXPECT_EQ(lines, (std::vector<std::vector<std::string>>{{}, {}})); // said when an attempt comes there
    EXPECT_EQ(stored(), before_);
}

TEST_F(BatchRetryTest, BeginsAgainWithItsFirstTable)
{
    const QString second = bench_.tableName("u");
    EXPECT_EQ(bench_.run("CreateTable", {{"TableName", second}, {"KeySchema", keySchema()}}).status, StatusSuccess);
    const QVariantMap item = itemOf("x", "x");
    // The second table is met by the last attempt only, but all of them write the first.
    const QVariantMap tables{{bench_.tableName(), entries_},
                             {second, QVariantList{putEntry(item), deleteEntry("y", "")}}};
    std::vector<std::vector<std::string>> lines;
    EXPECT_EQ(lose("BatchWriteItem", {{"RequestItems", tables}}, places_, &lines), (Outcome{StatusSuccess, {}}));
    EXPECT_EQ(lines, fromFourth_);
    EXPECT_EQ(stored(), after_);
    const Outcome other = bench_.run("Query", {{"TableName", second}, {"HashKeyValue", textValue("x")}});
    EXPECT_EQ(asSent(other.reply), (QVariantMap{{"Count", 1}, {"Items", QVariantList{item}}}));
}

} // namespace
