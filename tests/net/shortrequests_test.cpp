/* Which thread runs a request: the worker that received it, or one of the database pool. */
#include "net/bdbiomaster.h"

#include "netsupport.h"
#include "requests.h"
#include "threadcount.h"
#include "records/encoding.h"
#include "request/requestbench.h"
#include "storage/bdbenv.h"
#include "storage/bdbindex.h"
#include "storage/bdbtxn.h"
#include "support/lockwaits.h"
#include "support/logcapture.h"
#include "json/jsonwriter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <list>
#include <string>

#include <sys/syscall.h>

namespace {

using testing::IsEmpty;

/** A transaction that holds the write lock on a record's page until this object ends. */
class HeldPage {
public:
    HeldPage(BDBEnv* env, BDBIndex* db, QByteArray key)
    {
        EXPECT_EQ(txn_.begin(env, 0), 0);
        Dbt keyData(key.data(), static_cast<u_int32_t>(key.size()));
        Dbt data;
        data.set_flags(DB_DBT_MALLOC);
        EXPECT_EQ(db->get(&txn_, &keyData, &data, DB_RMW), 0);
        std::free(data.get_data());
    }

private:
    BDBTxn txn_;
};

/** A connection that a master serves. */
class ServedClient {
public:
    explicit ServedClient(BDBIOMaster* master) { master->addConnection(pair_.server.release()); }

    void send(const QByteArray& operation, const QVariantMap& body)
    {
        const QByteArray frame = Framing::frameRequest(Operations::fullName(operation), Json::serialize(body));
        EXPECT_EQ(::send(pair_.client.number(), frame.constData(), std::size_t(frame.size()), MSG_NOSIGNAL), frame.size());
    }

    QVariantMap receive()
    {
        const QByteArray prefix = readBytes(pair_.client.number(), 4);
        return prefix.size() == 4 ? parseReply(readBytes(pair_.client.number(), Framing::readLength(prefix.constData())))
                                  : QVariantMap();
    }

    QVariantMap request(const QByteArray& operation, const QVariantMap& body)
    {
        send(operation, body);
        return receive();
    }

    bool hasReply() const
    {
        pollfd waiting{pair_.client.number(), POLLIN, 0};
        return poll(&waiting, 1, 0) == 1;
    }

private:
    TcpPair pair_;
};

/** A table that is open, with two items on pages of their own, and a master that serves it. */
class ShortRequests : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_EQ(tables_.createTable().status, StatusSuccess);
        for (const char* hash : {Locked, Free})
            ASSERT_EQ(tables_.run("PutItem", {{"TableName", tables_.tableName()}, {"Item", item(hash)}}).status, 0);
        tables_.openEnvironment(&use_);
    }

    static QVariantMap item(const QString& hash) { return {{"h", textValue(hash)}, {"r", textValue("1")}}; }

    /** Starts the threads that serve connections; afterwards only the pool makes further ones. */
    void serve(int workers, int poolMax)
    {
        workers_ = workers;
        master_.init(workers, poolMax);
        ASSERT_TRUE(allWorkersWait());
        threads_ = threadCount();
    }

    [[nodiscard]] bool workersWait(int count) const
    {
        return waitUntil([&] { return threadsIn(SYS_epoll_wait) == count; });
    }
    [[nodiscard]] bool allWorkersWait() const { return workersWait(workers_); }

    std::size_t poolThreads() const { return threadCount() - threads_; }

    QVariantMap getBody(const QString& hash) const
    {
        return {{"TableName", tables_.tableName()}, {"Key", itemKey(hash, "1")}};
    }
    static QVariantMap foundReply() { return okReply({{"Item", QVariantMap()}}); }

    ServedClient& newClient() { return clients_.emplace_back(&master_); }

    /** Sends a request for the locked item, and waits until it waits for the lock. */
    ServedClient& sendBlocked()
    {
        const std::uintmax_t before = lockWaits(use_.env());
        ServedClient& client = newClient();
        client.send("GetItem", getBody(Locked));
        EXPECT_TRUE(waitUntil([&] { return lockWaits(use_.env()) > before; }));
        return client;
    }

    /** The lock on the page of the first item. */
    std::unique_ptr<HeldPage> lockPage()
    {
        const QByteArray file = Records::filePart(
            Records::dataFileName(tables_.tableBytes(), Records::partitionOf(Locked, PartitionCount)));
        BDBIndex* db = RequestBench::openDatabase(use_.env(), file, TableNames::DataSubDatabase);
        return std::make_unique<HeldPage>(use_.env(), db, Records::recordKey(Locked, "1"));
    }

    static constexpr const char* Locked = "locked";
    static constexpr const char* Free = "free";

    RequestBench tables_;
    EnvironmentUse use_; // ends before the environment is closed
    BDBIOMaster master_{1024, 256, tables_.registry()};
    std::list<ServedClient> clients_;

private:
    int workers_ = 0;
    std::size_t threads_ = 0;
};

} // namespace

TEST_F(ShortRequests, RunOnTheWorkerThatReceivedThem)
{
    serve(2, 4);
    ServedClient& client = newClient();
    for (int n = 0; n < 20; ++n) {
        ASSERT_TRUE(allWorkersWait());
        EXPECT_EQ(client.request("GetItem", getBody(Free)), foundReply());
        const QVariantMap put{{"TableName", tables_.tableName()}, {"Item", item(Free)}};
        ASSERT_TRUE(allWorkersWait());
        EXPECT_EQ(client.request("PutItem", put), okReply({{"Attributes", QVariantMap()}}));
    }
    EXPECT_EQ(poolThreads(), 0u);
}

TEST_F(ShortRequests, NeverRunOnTheOnlyWorker)
{
    serve(1, 4);
    EXPECT_EQ(newClient().request("GetItem", getBody(Free)), foundReply());
    EXPECT_EQ(poolThreads(), 1u);
}

TEST_F(ShortRequests, GoOnWhileAllWorkersButOneWaitForLocks)
{
    serve(3, 5);
    auto lock = lockPage();
    std::vector<ServedClient*> blocked;
    for (int n = 0; n < 2; ++n) {
        ASSERT_TRUE(workersWait(3 - n));
        blocked.push_back(&sendBlocked());
    }
    EXPECT_EQ(poolThreads(), 0u);
    ASSERT_TRUE(workersWait(1));
    for (int n = 0; n < 2; ++n)
        blocked.push_back(&sendBlocked());
    EXPECT_EQ(poolThreads(), 2u);

    ServedClient& client = newClient();
    for (int n = 0; n < 20; ++n)
        EXPECT_EQ(client.request("GetItem", getBody(Free)), foundReply());
    lock.reset();
    for (ServedClient* one : blocked)
        EXPECT_EQ(one->receive(), foundReply());
}

TEST_F(ShortRequests, AreNoMoreAtOnceThanThePoolAllows)
{
    serve(3, 1);
    auto lock = lockPage();
    ServedClient& first = sendBlocked();
    EXPECT_EQ(poolThreads(), 0u);
    ServedClient& second = newClient();
    second.send("GetItem", getBody(Free));
    ASSERT_TRUE(waitUntil([&] { return poolThreads() == 1; })); // which waits for its turn
    ASSERT_TRUE(workersWait(2));
    EXPECT_FALSE(second.hasReply());
    lock.reset();
    EXPECT_EQ(first.receive(), foundReply());
    EXPECT_EQ(second.receive(), foundReply());
}

TEST_F(ShortRequests, OfWhichOneOpensADatabaseIsForThePool)
{
    serve(2, 4);
    const LogCapture log(LogWarn);
    const QString hash = "not open yet";
    ServedClient& client = newClient();
    const QVariantMap put{{"TableName", tables_.tableName()},
                          {"Item", merged(item(hash), {{"a", numberValue("17")}})},
                          {"Expected", QVariantMap{{"a", QVariantMap{{"Exists", false}}}}}};
    EXPECT_EQ(client.request("PutItem", put), okReply({{"Attributes", QVariantMap{{"a", numberValue("17")}}}}));
    EXPECT_EQ(poolThreads(), 1u);
    EXPECT_EQ(client.request("GetItem", getBody(hash)), okReply({{"Item", QVariantMap{{"a", numberValue("17")}}}}));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(ShortRequests, OfWhichOneOpensAnEnvironmentIsForThePool)
{
    const TempDir missing;
    const QString name = QString::fromStdString(missing.path()) + "/none|t";
    serve(2, 4);
    const LogCapture log(LogWarn);
    ServedClient& client = newClient();
    EXPECT_EQ(client.request("GetItem", {{"TableName", name}, {"Key", itemKey("a", "1")}}), notFoundReply());
    EXPECT_EQ(poolThreads(), 1u);
    EXPECT_EQ(log.count("Failed to open env path: "), 1u);
    EXPECT_EQ(log.lines().size(), 1u) << log.text();
}

TEST_F(ShortRequests, AreNotThoseThatTakeLongByNature)
{
    serve(2, 4);
    EXPECT_EQ(newClient().request("DescribeTable", {{"TableName", tables_.tableName()}}).value("__rc"), 200);
    EXPECT_EQ(poolThreads(), 1u);
}
