// Requests that run concurrently with a DeleteTable, which has exclusive access to the environment.
#include "requestbench.h"
#include "storage/accesslock.h"
#include "support/logcapture.h"

#include <atomic>
#include <memory>
#include <thread>

namespace {

using testing::IsEmpty;

/** A request that uses the bench's table from enter() until its destruction. For one thread. */
class RunningRequest {
public:
    explicit RunningRequest(RequestBench& bench) : bench_(bench), table_(bench.registry(), &connection_, 1024) {}

    bool enter() { return table_.openTable(bench_.tableBytes()) == StatusSuccess; }

private:
    RequestBench& bench_;
    BDBObjTable connection_{256};
    TableContext table_;
};

/** Whether a request on another thread may enter at the moment. */
bool othersMayEnter(RequestBench& bench)
{
    bool entered = false;
    std::thread([&] { entered = RunningRequest(bench).enter(); }).join();
    return entered;
}

/** Exclusive access to the environment of the bench's table, as for a DeleteTable. For one thread. */
class Exclusive {
public:
    explicit Exclusive(RequestBench& bench) : lock_(Registry::lockEnv(bench.registry(), bench.tableBytes(), true)) {}
    ~Exclusive() { lock_->unlock(); }
    Exclusive(const Exclusive&) = delete;
    Exclusive& operator=(const Exclusive&) = delete;

private:
    std::shared_ptr<AccessLock> lock_;
};

/** Runs an operation on its own thread, as a hold of the calling thread would let it in. */
Outcome runElsewhere(RequestBench& bench, const QByteArray& operation, const QVariantMap& body)
{
    Outcome outcome{-1, {}};
    std::thread([&] { outcome = bench.run(operation, body); }).join();
    return outcome;
}

TEST(BusyEnvironment, EveryOperationButDescribeTableIsNotFoundImmediately)
{
    RequestBench bench;
    ASSERT_EQ(bench.createTable().status, StatusSuccess);
    const QVariantMap table{{"TableName", bench.tableName()}};
    const QVariantMap item{{"h", textValue("k")}, {"r", textValue("1")}};
    const QVariantMap schema{{"KeySchema", keySchema("x", "y")}};
    ASSERT_EQ(bench.run("PutItem", merged(table, {{"Item", item}})).status, StatusSuccess);
    std::vector<std::pair<QByteArray, QVariantMap>> requests = itemRequests();
    requests.insert(requests.end(),
                    {{"CreateTable", schema},
                     {"UpdateTable", {{"ProvisionedThroughput", QVariantMap{{"FlushDB", 1LL}}}}},
                     {"BatchWriteItem", {{"RequestItems", QVariantMap{{bench.tableName(), QVariantList()}}}}}});
    {
        const Exclusive exclusive(bench);
        const LogCapture log(LogWarn); // the environment's own threads log as well
        for (const auto& [operation, body] : requests)
            EXPECT_EQ(runElsewhere(bench, operation, merged(table, body)), (Outcome{StatusNotFound, {}}))
                << operation.toStdString();
        EXPECT_THAT(log.lines(), IsEmpty());

        const Outcome described = runElsewhere(bench, "DescribeTable", table);
        EXPECT_EQ(described.status, StatusSuccess);
        EXPECT_EQ(described.reply.value("Table").toMap().value("KeySchema").toMap(), keySchema());
    }
    EXPECT_EQ(bench.run("GetItem", merged(table, {{"Key", itemKey("k", "1")}})),
              (Outcome{StatusSuccess, {{"Item", QVariantMap()}}}));
}

TEST(DeleteTable, WaitsForRunningRequestsAndKeepsNewOnesOut)
{
    RequestBench bench;
    ASSERT_EQ(bench.createTable().status, StatusSuccess);
    const QVariantMap table{{"TableName", bench.tableName()}};
    const QVariantMap key = merged(table, {{"Key", itemKey("k", "1")}});

    std::atomic<bool> deleted = false;
    auto running = std::make_unique<RunningRequest>(bench);
    ASSERT_TRUE(running->enter());
    std::thread deleter([&] {
        EXPECT_EQ(bench.run("DeleteTable", table), (Outcome{StatusSuccess, {}}));
        deleted = true;
    });
    EXPECT_TRUE(waitUntil([&] { return !othersMayEnter(bench); }));
    EXPECT_EQ(runElsewhere(bench, "GetItem", key), (Outcome{StatusNotFound, {}}));
    EXPECT_EQ(runElsewhere(bench, "DescribeTable", table).status, StatusSuccess);
    EXPECT_FALSE(deleted);
    running.reset();
    deleter.join();
    EXPECT_EQ(bench.run("GetItem", key), (Outcome{StatusSuccess, {}})); // reopened
}

TEST(DeleteTable, TwoAtTheSameTimeBothSucceed)
{
    RequestBench bench;
    const QVariantMap table{{"TableName", bench.tableName()}};
    for (int round = 0; round < 20; ++round) {
        ASSERT_EQ(bench.createTable().status, StatusSuccess);
        std::thread other([&] { EXPECT_EQ(bench.run("DeleteTable", table), (Outcome{StatusSuccess, {}})); });
        EXPECT_EQ(bench.run("DeleteTable", table), (Outcome{StatusSuccess, {}}));
        other.join();
    }
}

} // namespace
