#include "client/serverstatus.h"

#include "support/samplestatus.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tuple>

using Client::Latencies;
using Client::ServerStatus;
using testing::ElementsAre;

TEST(ServerStatus, HasTheServerAndItsProcess)
{
    const ServerStatus status = ServerStatus::of(sampleStatus());
    EXPECT_EQ(status.version, "2.4.0");
    EXPECT_EQ(status.processId, 4711);
    EXPECT_EQ(status.startTime, 1795356721.25);
    EXPECT_EQ(status.uptime, 100);
    EXPECT_EQ(status.port, 4567);
    EXPECT_EQ(status.options.value("Workers").toInt(), 2);
    EXPECT_EQ(status.slowMilliseconds, 100);
    EXPECT_EQ(status.process.residentBytes, 125829120);
    EXPECT_EQ(status.processorSeconds, 12.5);
    EXPECT_EQ(status.process.descriptors, 812);
    EXPECT_EQ(status.process.descriptorLimit, 1048576);
}

TEST(ServerStatus, HasConnectionsBytesAndThreads)
{
    const ServerStatus status = ServerStatus::of(sampleStatus());
    EXPECT_EQ(status.openConnections, 3);
    EXPECT_EQ(status.connectionsAccepted, 40);
    EXPECT_EQ(status.connectionsRefused, 5);
    EXPECT_EQ(status.receivedBytes, 1048576);
    EXPECT_EQ(status.sentBytes, 1536);
    const auto& [workers, workersBusy, pool, poolBusy, poolQueue, repliesWaiting] = status.threads;
    EXPECT_EQ(std::tie(workers, workersBusy, pool, poolBusy, poolQueue, repliesWaiting), std::tuple(2, 1, 6, 4, 7, 8));
}

TEST(ServerStatus, HasRequestsWithTheirLatencies)
{
    const ServerStatus status = ServerStatus::of(sampleStatus());
    ASSERT_EQ(status.requests.size(), 3U);
    const ServerStatus::Requests& failed = status.requests[1];
    EXPECT_EQ(failed.operation, "PutItem");
    EXPECT_EQ(failed.outcome, "ConditionalCheckFailedException");
    EXPECT_EQ(failed.count, 2);
    EXPECT_EQ(failed.microseconds, 90);
    EXPECT_THAT(failed.latencies.bounds, ElementsAre(50, 2500, 1000000));
    EXPECT_THAT(failed.latencies.counts, ElementsAre(2, 0, 0, 0));
    EXPECT_FALSE(failed.isSuccess());
    EXPECT_TRUE(status.requests[2].isSuccess());
}

TEST(ServerStatus, HasSlowRequestsNewestFirst)
{
    const ServerStatus status = ServerStatus::of(sampleStatus());
    ASSERT_EQ(status.slowRequests.size(), 2U);
    const ServerStatus::SlowRequest& newest = status.slowRequests.front();
    EXPECT_EQ(newest.time, 1795356800.5);
    EXPECT_EQ(newest.operation, "Query");
    EXPECT_EQ(newest.table, "shop|orders");
    EXPECT_EQ(newest.keys, "abc");
    EXPECT_EQ(newest.milliseconds, 150.4);
    EXPECT_EQ(newest.queueMilliseconds, 7.4);
    EXPECT_EQ(newest.lockMilliseconds, 100);
    EXPECT_EQ(newest.diskMilliseconds, 20);
    EXPECT_EQ(newest.flushMilliseconds, 3);
    EXPECT_EQ(newest.items, 128);
    EXPECT_EQ(newest.retries, 2);
    EXPECT_EQ(newest.peer, "127.0.0.1:51234");
    EXPECT_EQ(status.slowRequestCount, 33);
}

TEST(ServerStatus, HasFailedRequestsNewestFirst)
{
    const ServerStatus status = ServerStatus::of(sampleStatus());
    ASSERT_EQ(status.failedRequests.size(), 2U);
    const ServerStatus::FailedRequest& newest = status.failedRequests.front();
    EXPECT_EQ(newest.time, 1795356799);
    EXPECT_EQ(newest.operation, "GetItem");
    EXPECT_EQ(newest.outcome, "InternalServerError");
    EXPECT_EQ(newest.result, 12);
    EXPECT_EQ(newest.table, "shop|orders");
    EXPECT_EQ(newest.keys, "\"k\u001b[2J\" \"1\"");
    EXPECT_EQ(newest.peer, "127.0.0.1:51236");
    EXPECT_EQ(status.failedRequestCount, 19);
}

TEST(ServerStatus, HasEnvironments)
{
    const ServerStatus status = ServerStatus::of(sampleStatus());
    ASSERT_EQ(status.environments.size(), 2U);
    const ServerStatus::Environment& shop = status.environments.front();
    EXPECT_EQ(shop.directory, "/srv/shop");
    EXPECT_THAT(shop.openTables, ElementsAre("customers", "orders"));
    EXPECT_EQ(std::tie(shop.tables, shop.files), std::tuple(2, 300));
    EXPECT_EQ(std::tie(shop.cacheBytes, shop.cachePages, shop.cacheDirtyPages), std::tuple(16777216, 4000, 12));
    EXPECT_EQ(std::tie(shop.cacheHits, shop.cacheMisses), std::tuple(990, 10));
    EXPECT_EQ(std::tie(shop.lockWaits, shop.deadlocks), std::tuple(21, 3));
    EXPECT_EQ(std::tie(shop.logFile, shop.logOffset, shop.logFiles, shop.logBytes), std::tuple(17, 65536, 4, 41943040));
    EXPECT_EQ(std::tie(shop.commits, shop.aborts, shop.flushes), std::tuple(500, 6, 200));
    EXPECT_EQ(shop.lastCheckpoint, 1795356780);
    EXPECT_EQ(shop.syncFailed, 0);
    EXPECT_EQ(status.environments.back().syncFailed, 1);
    EXPECT_EQ(shop.backupState, "shipping");
    EXPECT_EQ(shop.backupTarget, "/backup/shop");
    EXPECT_EQ(std::tie(shop.backupSince, shop.backupUntil), std::tuple(1795356730, 1795356810));
    EXPECT_EQ(status.environments.back().backupUntil, 0);
    EXPECT_EQ(shop.logHeldFor, "");
    EXPECT_EQ(status.environments.back().logHeldFor, "/backup/held");
    EXPECT_EQ(status.environments.back().logHeldSince, 1795356720);
}

TEST(ServerStatus, WhatIsMissingIsZeroOrEmpty)
{
    const ServerStatus status = ServerStatus::of({});
    EXPECT_EQ(status.version, "");
    EXPECT_EQ(status.openConnections, 0);
    EXPECT_TRUE(status.requests.empty());
    EXPECT_TRUE(status.environments.empty());
}

TEST(Latencies, QuantileIsTheUpperEndOfItsClass)
{
    const Latencies latencies{{50, 2500, 1000000}, {90, 8, 1, 1}};
    EXPECT_EQ(latencies.total(), 100);
    EXPECT_EQ(latencies.quantile(0), 50);
    EXPECT_EQ(latencies.quantile(0.5), 50);
    EXPECT_EQ(latencies.quantile(0.9), 50);
    EXPECT_EQ(latencies.quantile(0.91), 2500);
    EXPECT_EQ(latencies.quantile(0.98), 2500);
    EXPECT_EQ(latencies.quantile(0.99), 1000000);
    EXPECT_EQ(latencies.quantile(1), Latencies::Beyond);
}

TEST(Latencies, OfOneRequestAllQuantilesAreIts)
{
    const Latencies latencies{{50, 2500}, {0, 1, 0}};
    for (const double part : {0.0, 0.01, 0.5, 0.99, 1.0})
        EXPECT_EQ(latencies.quantile(part), 2500) << part;
    EXPECT_EQ(Latencies().quantile(0.5), 0);
    EXPECT_EQ((Latencies{{50}, {0, 0}}).quantile(1), 0);
}

TEST(Latencies, AreAddedAndSubtractedByClass)
{
    Latencies latencies{{50, 2500}, {5, 6, 7}};
    latencies.subtract({{50, 2500}, {1, 2, 3}});
    EXPECT_THAT(latencies.counts, ElementsAre(4, 4, 4));
    Latencies sum;
    sum.add(latencies);
    sum.add({{50, 2500}, {1, 0, 2}});
    EXPECT_THAT(sum.counts, ElementsAre(5, 4, 6));
    EXPECT_THAT(sum.bounds, ElementsAre(50, 2500));
}
