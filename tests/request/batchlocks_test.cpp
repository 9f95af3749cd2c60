/* Batches, and everything that opens databases concurrently or within them, in one environment. */
#include "records/encoding.h"
#include "request/requestbench.h"
#include "scanqueryfixture.h"
#include "storage/bdbenv.h"
#include "storage/bdbindex.h"
#include "storage/bdbtxn.h"
#include "storage/resultcodes.h"
#include "support/background.h"
#include "support/deadline.h"
#include "support/lockwaits.h"
#include "support/logcapture.h"

#include <cstdlib>
#include <fstream>
#include <future>

#include <unistd.h>

namespace {

using testing::ElementsAre;

class BatchLocksTest : public testing::Test {
protected:
    static constexpr int Partition = 0xb9;

    void SetUp() override { ASSERT_EQ(bench_.createTable().status, StatusSuccess); }

    /** Enough items to make the partition's file grow, which also locks its first page. */
    static QVariantList entriesOf(const QString& hash, const QString& mark)
    {
        QVariantList entries;
        for (int n = 0; n < 40; ++n)
            entries.append(putEntry(itemOf(hash, QString::number(100 + n), {{mark, textValue(QString(400, 'f'))}})));
        return entries;
    }

    Outcome batch(const QVariantMap& tables) { return bench_.run("BatchWriteItem", {{"RequestItems", tables}}); }
    Outcome batchOfOneItem() { return batch({{bench_.tableName(), QVariantList{putEntry(itemOf(hash_, "999"))}}}); }

    QVariant countIn(const QString& table)
    {
        return bench_.run("Query", {{"TableName", table}, {"HashKeyValue", textValue(hash_)}, {"Count", true}})
            .reply.value("Count");
    }

    void link(const char* from, const QString& to) const
    {
        const QString directory = bench_.tableName().section('|', 0, 0) + '/';
        ASSERT_EQ(symlink(from, (directory + to).toUtf8().constData()), 0);
    }

    const QString hash_ = hashIn(Partition);
    RequestBench bench_;

private:
    const Deadline deadline_{std::chrono::minutes(1)};
};

TEST_F(BatchLocksTest, ATableAndOneOfItsDataFilesInOneBatch)
{
    const QVariantMap tables{{bench_.tableName(), entriesOf(hash_, "v")},
                             {bench_.tableName("t_b9.db"), QVariantList{putEntry(itemOf("x", "x"))}}};
    const LogCapture log(LogError);
    EXPECT_EQ(batch(tables), (Outcome{NoHandle, {{"UnprocessedItems", tables}}}));
    EXPECT_EQ(log.count("batchWriteItem schema load failed: " + bench_.tableName("t_b9.db").toStdString()), 1U);
    EXPECT_EQ(countIn(bench_.tableName()), QVariant(0)); // nothing of it remains
}

TEST_F(BatchLocksTest, OneTableUnderTwoNamesInOneBatch)
{
    link("t", "u");
    link("t_b9.db", "u_b9.db");
    const QVariantMap tables{{bench_.tableName("t"), entriesOf(hash_, "first")},
                             {bench_.tableName("u"), entriesOf(hash_, "second")}};
    EXPECT_EQ(batch(tables), (Outcome{StatusSuccess, {}}));
    EXPECT_EQ(countIn(bench_.tableName("t")), QVariant(40));
    EXPECT_EQ(countIn(bench_.tableName("u")), QVariant(40));
    const Outcome item = bench_.run("GetItem", {{"TableName", bench_.tableName()}, {"Key", itemKey(hash_, "100")}});
    EXPECT_EQ(item.reply.value("Item").toMap().keys(), QStringList{"second"});
}

/** With a transaction that blocks the requests. */
class BesideTransactionTest : public BatchLocksTest {
protected:
    void SetUp() override
    {
        BatchLocksTest::SetUp();
        ASSERT_EQ(batchOfOneItem().status, StatusSuccess);
        bench_.openEnvironment(&use_);
        ASSERT_EQ(txn_.begin(use_.env(), 0), 0);
    }

    void TearDown() override
    {
        EXPECT_EQ(txn_.abort(), 0);
        use_.reset();
    }

    /** The data file of the hash key. */
    BDBIndex* dataFile() const
    {
        return RequestBench::openDatabase(use_.env(), "t_b9.db", TableNames::DataSubDatabase);
    }

    EnvironmentUse use_;
    BDBTxn txn_;
};

/** While a transaction holds the first page of a file, on which opening another database in it waits. */
class OpenThatWaitsTest : public BesideTransactionTest {
protected:
    void SetUp() override
    {
        BesideTransactionTest::SetUp();
        BDBIndex* const db = dataFile();
        ASSERT_NE(db, nullptr);
        for (int n = 0; n < 40; ++n) {
            QByteArray key = Records::recordKey("zz", QByteArray::number(n));
            QByteArray value(400, ' ');
            Dbt keyData(key.data(), static_cast<u_int32_t>(key.size()));
            Dbt data(value.data(), static_cast<u_int32_t>(value.size()));
            ASSERT_EQ(db->put(&txn_, &keyData, &data, 0), 0);
        }
        const std::uintmax_t before = lockWaits(use_.env());
        link("t_b9.db", "w");
        opener_ = inBackground([this] { return bench_.run("DescribeTable", {{"TableName", bench_.tableName("w")}}); });
        ASSERT_TRUE(waitUntil([&] { return lockWaits(use_.env()) > before; }));
    }

    void TearDown() override
    {
        BesideTransactionTest::TearDown();
        EXPECT_EQ(opener_.get().status, StatusNotFound); // it has been opened, but has no schema
    }

    std::future<Outcome> opener_;
};

TEST_F(OpenThatWaitsTest, HoldsUpNobodyWhoseDatabasesAreOpen)
{
    // The blocking transaction may belong to a batch whose thread gets here next.
    EXPECT_NE(dataFile(), nullptr);
    EXPECT_EQ(bench_.run("DescribeTable", {{"TableName", bench_.tableName()}}).status, StatusSuccess);
    EXPECT_EQ(opener_.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
}

/** While a transaction holds an item that a batch writes, in an environment where waiting for it times out. */
class FailedWriteTest : public BesideTransactionTest {
protected:
    void SetUp() override
    {
        std::ofstream(directory().toStdString() + "/DB_CONFIG")
            << "set_lock_timeout 50000\nset_flags DB_TIME_NOTGRANTED on\n";
        BesideTransactionTest::SetUp();
        BDBIndex* const db = dataFile();
        ASSERT_NE(db, nullptr);
        QByteArray key = Records::recordKey(hash_.toLatin1(), "999");
        Dbt keyData(key.data(), static_cast<u_int32_t>(key.size()));
        Dbt data;
        data.set_flags(DB_DBT_MALLOC);
        ASSERT_EQ(db->get(&txn_, &keyData, &data, DB_RMW), 0);
        std::free(data.get_data());
    }

    void TearDown() override
    {
        BesideTransactionTest::TearDown();
        // Whatever follows the failed write, the environment has been released: otherwise this would wait forever.
        EXPECT_EQ(bench_.run("DeleteTable", {{"TableName", bench_.tableName()}}).status, StatusSuccess);
    }

    QString directory() const { return bench_.tableName().section('|', 0, 0); }

    /** Sends a batch whose write to the first table fails. Expects its result, and a line about that write alone. */
    void expectFailedWrite(const QVariantMap& behind, const QVariantList& entriesBehind = {})
    {
        const QVariantMap tables =
            merged({{bench_.tableName(), QVariantList{putEntry(itemOf(hash_, "999"))} + entriesBehind}}, behind);
        const LogCapture log(LogError);
        std::future<Outcome> running = inBackground([&] { return batch(tables); });
        while (running.wait_for(std::chrono::milliseconds(10)) == std::future_status::timeout)
            EXPECT_EQ(use_.env()->lock_detect(0, DB_LOCK_EXPIRE, nullptr), 0); // before the environment's thread does
        EXPECT_EQ(running.get(), (Outcome{DB_LOCK_NOTGRANTED, {{"UnprocessedItems", tables}}}));
        EXPECT_THAT(log.lines(), ElementsAre(testing::ContainsRegex("put failed for fkey .* rc -30992")));
    }
};

TEST_F(FailedWriteTest, BeforeAForeignTableReleasesTheEnvironment)
{
    expectFailedWrite({{directory() + "~|t", QVariantList{putEntry(itemOf("x", "x"))}}});
}

TEST_F(FailedWriteTest, BeforeARefusedEntryIsTheReportedOne)
{
    const QVariant entry = putEntry(itemOf("x", "x"));
    expectFailedWrite({}, {entry, entry});
    expectFailedWrite({}, {QVariantMap{{"PutRequest", merged(entry.toMap().value("PutRequest").toMap(),
                                                             {{"Expected", QVariantMap()}})}}});
}

TEST_F(BatchLocksTest, ManyBatchesBesideOpensOfTheirFilesAllEnd)
{
    const LogCapture log(LogCrit);
    for (int n = 0; n < 10; ++n) {
        ASSERT_EQ(batch({{bench_.tableName(), entriesOf(hashIn(10 * n), "first")}}), (Outcome{StatusSuccess, {}}));
        link(Records::dataFileName("t", static_cast<unsigned>(10 * n)).constData(), "w" + QString::number(n));
    }
    std::vector<std::thread> clients;
    for (int client = 0; client < 4; ++client) {
        clients.emplace_back([&, client] {
            for (int n = 0; n < 10; ++n) {
                const QString mark = QString::number(client * 100 + n);
                EXPECT_EQ(batch({{bench_.tableName(), entriesOf(hashIn(10 * n), mark)}}), (Outcome{StatusSuccess, {}}));
            }
        });
    }
    for (int n = 0; n < 10; ++n)
        EXPECT_EQ(bench_.run("DescribeTable", {{"TableName", bench_.tableName("w" + QString::number(n))}}).status,
                  StatusNotFound); // opened, but without a schema
    for (std::thread& client : clients)
        client.join();
}

} // namespace
