// Requests beside a DeleteTable, which has the environment for itself.
#include "requestbench.h"
#include "storage/accesslock.h"
#include "support/logcapture.h"

#include <atomic>
#include <memory>
#include <thread>

namespace {

using testing::IsEmpty;

/** A request that is at the bench's table, from enter() to its end. For one thread. */
class RunningRequest {
public:
    explicit RunningRequest(RequestBench& bench) : bench_(bench), table_(bench.registry(), &connection_, 1024) {}

    bool enter() { return table_.openTable(bench_.tableBytes()) == StatusSuccess; }

private:
    RequestBench& bench_;
    BDBObjTable connection_{256};
    TableContext table_;
};

/** Whether a request in another thread than ours may enter right now. */
bool othersMayEnter(RequestBench& bench)
{
    bool entered = false;
    std::thread([&] { entered = RunningRequest(bench).enter(); }).join();
    return entered;
}

/** An exclusive hold on the environment of the bench's table, as a DeleteTable has it. For one thread. */
class Exclusive {
public:
    explicit Exclusive(RequestBench& bench) : lock_(Registry::lockEnv(bench.registry(), bench.tableBytes(), true)) {}
    ~Exclusive() { lock_->unlock(); }
    Exclusive(const Exclusive&) = delete;
    Exclusive& operator=(const Exclusive&) = delete;

private:
    std::shared_ptr<AccessLock> lock_;
};

/** Runs an operation on a thread of its own: a hold of the calling thread must not help it. */
Outcome runElsewhere(RequestBench& bench, const QByteArray& operation, const QVariantMap& body)
{
    Outcome outcome{-1, {}};
    std::thread([&] { outcome = bench.run(operation, body); }).join();
    return outcome;
}

TEST(BusyEnvironment, EveryOperationButDescribeTableIsNotFoundAtOnce)
{
    RequestBench bench;
    ASSERT_EQ(bench.createTable().status, StatusSuccess);
    const QVariantMap table{{"TableName", bench.tableName()}};
    const QVariantMap item{{"h", textValue("k")}, {"r", textValue("1")}};
    const QVariantMap schema{{"KeySchema", keySchema("x", "y")}};
    ASSERT_EQ(bench.run("PutItem", merged(table, {{"Item", item}})).status, StatusSuccess);
    const std::vector<std::pair<QByteArray, QVariantMap>> requests{
        {"CreateTable", schema},
        {"UpdateTable", {{"ProvisionedThroughput", QVariantMap{{"FlushDB", 1LL}}}}},
        {"PutItem", {{"Item", item}}},
        {"GetItem", {{"Key", itemKey("k", "1")}}},
        {"DeleteItem", {{"Key", itemKey("k", "1")}}},
        {"UpdateItem", {{"Key", itemKey("k", "1")}}},
        {"Scan", {}},
        {"Query", {{"HashKeyValue", textValue("k")}}},
        {"BatchWriteItem", {{"RequestItems", QVariantMap{{bench.tableName(), QVariantList()}}}}},
    };
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
    EXPECT_EQ(bench.run("GetItem", key), (Outcome{StatusSuccess, {}})); // opened anew
}

TEST(DeleteTable, TwoAtOnceBothSucceed)
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
