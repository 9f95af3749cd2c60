#include "scanqueryfixture.h"

#include <atomic>
#include <random>
#include <thread>
#include <utility>

namespace {

/** A batch is written completely or not at all, even under contention and after a crash. */
class BatchAtomicityTest : public ScanQueryTest {
protected:
    using ScanQueryTest::ScanQueryTest;

    static constexpr int Items = 40;

    /** Large enough for the items of one hash key to fill many pages. */
    static QVariantList round(const QString& hash, int number)
    {
        QVariantList entries;
        for (int n = 0; n < Items; ++n) {
            entries.append(putEntry(
                itemOf(hash, QString("%1").arg(n, 3, 10, QChar('0')),
                       {{"round", numberValue(QString::number(number))}, {"fill", textValue(QString(200, 'f'))}})));
        }
        return entries;
    }

    static std::set<QString> roundsOf(const QVariantList& items)
    {
        std::set<QString> rounds;
        for (const QVariant& item : items)
            rounds.insert(item.toMap().value("round").toMap().value("N").toString());
        return rounds;
    }

    QVariantMap requestItems(const QVariantList& entries) const
    {
        return {{"RequestItems", QVariantMap{{tableName(), entries}}}};
    }
};

TEST_F(BatchAtomicityTest, ReadersBesideBatchesSeeEveryItemOnceAndWhole)
{
    EXPECT_EQ(batch(round("q", 0)), okReply());
    std::atomic<bool> done = false;
    std::atomic<int> reads = 0;
    std::vector<std::thread> readers;
    for (int reader = 0; reader < 2; ++reader) {
        readers.emplace_back([&, reader] {
            Caller caller(server_);
            const QVariantMap query{
                {"TableName", tableName()}, {"HashKeyValue", textValue("q")}, {"ScanIndexForward", reader == 0}};
            while (!done) {
                const QVariantMap reply = caller.request("Query", query);
                EXPECT_EQ(reply.value("Count"), QVariant(Items)) << testing::PrintToString(reply);
                // They may be items of different rounds, each intact.
                std::set<QString> ranges;
                for (const QVariant& item : reply.value("Items").toList()) {
                    ranges.insert(item.toMap().value("r").toMap().value("S").toString());
                    EXPECT_EQ(item.toMap().size(), 4) << testing::PrintToString(reply);
                }
                EXPECT_EQ(ranges.size(), static_cast<std::size_t>(Items)) << testing::PrintToString(reply);
                ++reads;
            }
        });
    }
    std::vector<std::thread> writers;
    for (int writer = 1; writer <= 2; ++writer) {
        writers.emplace_back([&, writer] {
            Caller caller(server_);
            for (int n = 0; n < 30; ++n)
                EXPECT_EQ(caller.request("BatchWriteItem", requestItems(round("q", writer * 1000 + n))), okReply());
        });
    }
    for (std::thread& writer : writers)
        writer.join();
    const int soFar = reads;
    EXPECT_TRUE(waitUntil([&] { return reads > soFar + 1; }));
    done = true;
    for (std::thread& reader : readers)
        reader.join();
}

TEST_F(BatchAtomicityTest, BatchesThatDeadlockAllFinish)
{
    constexpr int Clients = 8;
    constexpr int Batches = 25;
    QStringList hashes;
    for (int n = 0; n < 30; ++n)
        hashes.append("h" + QString::number(n));
    std::vector<std::thread> clients;
    for (int client = 0; client < Clients; ++client) {
        clients.emplace_back([&, client] {
            Caller caller(server_);
            std::mt19937 random(static_cast<unsigned>(client));
            QStringList order = hashes;
            for (int n = 0; n < Batches; ++n) {
                std::shuffle(order.begin(), order.end(), random); // a different order for each
                QVariantList entries;
                const QString mark = QString("%1.%2").arg(client).arg(n);
                for (const QString& hash : order.mid(0, 25))
                    entries.append(putEntry(itemOf(hash, "r", {{"by", textValue(mark)}})));
                EXPECT_EQ(caller.request("BatchWriteItem", requestItems(entries)), okReply());
            }
        });
    }
    for (std::thread& client : clients)
        client.join();
    // Each batch writes 25 of the 30 items; the last one to commit is there in full.
    QMap<QString, int> marks;
    for (const QString& hash : hashes) {
        const QVariantList items = query({{"HashKeyValue", textValue(hash)}}).value("Items").toList();
        ASSERT_EQ(items.size(), 1) << hash.toStdString();
        ++marks[items.first().toMap().value("by").toMap().value("S").toString()];
    }
    EXPECT_EQ(std::count(marks.begin(), marks.end(), 25), 1) << "no batch is whole";
    for (const std::string& line : takeComplaints())
        EXPECT_TRUE(line.starts_with("[WARN] WriteBatchItem Got deadlock retry ")) << line;
}

/** With commits that wait for the disk. */
class BatchDurabilityTest : public BatchAtomicityTest {
protected:
    BatchDurabilityTest() : BatchAtomicityTest(ServerProcess::Setup{}) {}
};

TEST_F(BatchDurabilityTest, KilledServerHasEachBatchWholeOrNotAtAll)
{
    // In several partitions, so in several files.
    const QStringList hashes{"a", "b", "c", "d", "e", "f"};
    const auto entriesOf = [&](int number) {
        QVariantList entries;
        for (const QString& hash : hashes)
            entries += round(hash, number);
        return entries;
    };
    int number = 0;
    EXPECT_EQ(batch(entriesOf(number)), okReply());
    for (int kill = 0; kill < 3; ++kill) {
        std::atomic<int> acknowledged = number;
        std::atomic<int> sent = number;
        std::thread writer([&] {
            Caller caller(server_);
            for (;;) {
                ++sent;
                if (caller.request("BatchWriteItem", requestItems(entriesOf(sent))) != okReply())
                    return; // killed
                acknowledged = sent.load();
            }
        });
        const int before = number;
        EXPECT_TRUE(waitUntil([&] { return acknowledged >= before + 2 + kill && sent > acknowledged; }));
        killServer();
        writer.join();
        ASSERT_TRUE(server_.start());

        std::set<QString> rounds;
        for (const QString& hash : hashes) {
            const QVariantList items = query({{"HashKeyValue", textValue(hash)}}).value("Items").toList();
            EXPECT_EQ(items.size(), Items);
            rounds.merge(roundsOf(items));
        }
        ASSERT_EQ(rounds.size(), 1U) << "half a batch";
        number = rounds.begin()->toInt();
        EXPECT_GE(number, acknowledged) << "what was acknowledged is gone";
        EXPECT_LE(number, sent);
    }
}

} // namespace
