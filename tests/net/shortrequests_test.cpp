/* Which thread runs a request: the worker that received it, or one of the database pool. */
#include "shortrequestsfixture.h"

#include "support/logcapture.h"

#include <gmock/gmock.h>

#include <string>

using testing::IsEmpty;

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

TEST_F(ShortRequests, AreServedWhileAllWorkersButOneWaitForLocks)
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

TEST_F(ShortRequests, AreNoMoreThanThePoolAllowsAtATime)
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
