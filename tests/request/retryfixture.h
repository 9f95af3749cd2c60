#ifndef QUORVA_TESTS_REQUEST_RETRYFIXTURE_H
#define QUORVA_TESTS_REQUEST_RETRYFIXTURE_H

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

/** The key of an item that an operation visits. */
struct Place {
    QString hash;
    QString range;
};

/** A writer's transaction, older than any that the operation under test begins. */
class Writer {
public:
    explicit Writer(RequestBench& bench) : table_(bench.tableBytes())
    {
        bench.openEnvironment(&use_);
        EXPECT_EQ(txn_.begin(use_.env(), 0), 0);
    }
    Writer(const Writer&) = delete;
    Writer& operator=(const Writer&) = delete;

    /** Takes the write lock of an existing item. A younger transaction in the way gets DB_LOCK_DEADLOCK. */
    void take(const Place& place)
    {
        EXPECT_EQ(read(&txn_, place, DB_RMW), 0) << place.hash.toStdString() << ' ' << place.range.toStdString();
    }

    /** Whether an item is on a page that this transaction has not locked. */
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

/** Operations that lose one real deadlock after another and must reply as if there had been none. */
class RetryTest : public testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(bench_.createTable().status, StatusSuccess); }

    QVariantMap inTable(const QVariantMap& fields) const { return merged({{"TableName", bench_.tableName()}}, fields); }

    void put(const QVariantList& items)
    {
        for (const QVariant& item : items)
            EXPECT_EQ(bench_.run("PutItem", inTable({{"Item", item}})).status, StatusSuccess);
    }

    /** Items of one hash key across many pages: four fit on a page. */
    static constexpr int Spread = 36;
    static QString rangeAt(int n) { return QString("%1").arg(n, 2, 10, QChar('0')); }
    static QVariantList spreadItems(const QString& hash)
    {
        QVariantList items;
        for (int n = 0; n < Spread; ++n)
            items.append(itemOf(hash, rangeAt(n), {{"fill", textValue(QString(400, 'f'))}}));
        return items;
    }
    /** One item on each of the first pages, in order: a walk holds the lock of the page it is on. */
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
     * Runs the operation, which visits the places in order, into one deadlock fewer than there are places: it waits for
     * the last place, loses when the writer asks for the one before, waits there on its next attempt, and so on.
     * `lines` receives what had been logged by the time each attempt was waiting.
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

    /** The lines logged from the third consecutive deadlock on, for each of six attempts. */
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

/** The reply as a client reads it: in memory, keys end in a zero byte, which their JSON text does not contain. */
inline QVariantMap asSent(const QVariantMap& reply)
{
    QVariant parsed;
    EXPECT_TRUE(Json::parse(Json::serialize(reply), &parsed));
    return parsed.toMap();
}

#endif
