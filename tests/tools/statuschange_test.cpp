#include "tools/statuschange.h"

#include "support/samplestatus.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using Client::ServerStatus;
using Ctl::StatusChange;
using testing::ElementsAre;

/** The sample ten seconds later, with some more of everything. */
ServerStatus later()
{
    ServerStatus status = ServerStatus::of(sampleStatus());
    status.uptime += 10;
    status.requests[0].count += 5;
    status.requests[0].latencies.counts = {93, 8, 3, 1};
    status.requests[1].count += 1;
    status.requests[1].latencies.counts = {2, 1, 0, 0};
    status.receivedBytes += 1000;
    status.sentBytes += 2000;
    status.connectionsAccepted += 4;
    status.connectionsRefused += 1;
    status.processorSeconds += 2.5;
    ServerStatus::Environment& shop = status.environments.front();
    shop.cacheHits += 30;
    shop.cacheMisses += 10;
    shop.logBytes -= 100;
    shop.commits += 20;
    shop.flushes += 5;
    shop.lockWaits += 2;
    shop.deadlocks += 1;
    return status;
}

} // namespace

TEST(StatusChange, OfARunningServerIsTheDifference)
{
    const ServerStatus before = ServerStatus::of(sampleStatus());
    const StatusChange change = StatusChange::between(&before, later());
    EXPECT_FALSE(change.isSinceStart);
    EXPECT_EQ(change.seconds, 10);
    EXPECT_EQ(change.requests, 6);
    EXPECT_EQ(change.failed, 1);
    EXPECT_EQ(change.receivedBytes, 1000);
    EXPECT_EQ(change.sentBytes, 2000);
    EXPECT_EQ(change.connectionsAccepted, 4);
    EXPECT_EQ(change.connectionsRefused, 1);
    EXPECT_EQ(change.processorSeconds, 2.5);
    ASSERT_EQ(change.environments.size(), 2U);
    const StatusChange::Environment& shop = change.environments.front();
    EXPECT_EQ(shop.cacheHits, 30);
    EXPECT_EQ(shop.cacheMisses, 10);
    EXPECT_EQ(shop.logBytes, -100);
    EXPECT_EQ(shop.commits, 20);
    EXPECT_EQ(shop.flushes, 5);
    EXPECT_EQ(shop.lockWaits, 2);
    EXPECT_EQ(shop.deadlocks, 1);
}

TEST(StatusChange, OutcomesOfAnOperationAreCountedTogether)
{
    const ServerStatus before = ServerStatus::of(sampleStatus());
    const StatusChange change = StatusChange::between(&before, later());
    ASSERT_EQ(change.operations.size(), 2U);
    const StatusChange::Operation& put = change.operations[0];
    EXPECT_EQ(put.name, "PutItem");
    EXPECT_EQ(put.total, 108);
    EXPECT_EQ(put.count, 6);
    EXPECT_EQ(put.failed, 1);
    EXPECT_THAT(put.latencies.counts, ElementsAre(3, 1, 2, 0));
    EXPECT_EQ(put.latencies.quantile(0.5), 50);
    EXPECT_EQ(put.latencies.quantile(0.99), 1000000);
    const StatusChange::Operation& query = change.operations[1];
    EXPECT_EQ(query.name, "Query");
    EXPECT_EQ(query.total, 4);
    EXPECT_EQ(query.count, 0);
    EXPECT_EQ(query.latencies.total(), 0);
}

TEST(StatusChange, WithoutAnEarlierStatusIsSinceTheStart)
{
    const StatusChange change = StatusChange::between(nullptr, ServerStatus::of(sampleStatus()));
    EXPECT_TRUE(change.isSinceStart);
    EXPECT_EQ(change.seconds, 100);
    EXPECT_EQ(change.requests, 106);
    EXPECT_EQ(change.environments.front().commits, 500);
    EXPECT_EQ(change.environments.front().logBytes, 0) << "what it began with is unknown";
}

TEST(StatusChange, AfterARestartIsSinceTheStart)
{
    const ServerStatus before = later();
    ServerStatus now = ServerStatus::of(sampleStatus());
    now.startTime += 1000; // with the same process id, as in a container
    now.uptime = 2;
    const StatusChange change = StatusChange::between(&before, now);
    EXPECT_TRUE(change.isSinceStart);
    EXPECT_EQ(change.seconds, 2);
    EXPECT_EQ(change.requests, 106);
}

TEST(StatusChange, EnvironmentThatWasOpenedAgainCountsFromThen)
{
    const ServerStatus before = later();
    ServerStatus now = later();
    now.uptime += 10;
    now.environments.front().commits = 7;
    now.environments.front().cacheHits = 1;
    const StatusChange change = StatusChange::between(&before, now);
    EXPECT_EQ(change.environments.front().commits, 7);
    EXPECT_EQ(change.environments.front().cacheHits, 1);
    EXPECT_EQ(change.environments.back().commits, 0);
}

TEST(StatusChange, EnvironmentsAreFoundByTheirDirectories)
{
    const ServerStatus before = ServerStatus::of(sampleStatus());
    ServerStatus now = later();
    std::swap(now.environments[0], now.environments[1]);
    EXPECT_EQ(StatusChange::between(&before, now).environments[1].commits, 20);
    now.environments.erase(now.environments.begin());
    EXPECT_EQ(StatusChange::between(&before, now).environments.size(), 1U);
}
