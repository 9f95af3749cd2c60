#ifndef QUORVA_TESTS_SUPPORT_SAMPLESTATUS_H
#define QUORVA_TESTS_SUPPORT_SAMPLESTATUS_H

#include "json/jsonreader.h"

#include <gtest/gtest.h>

#include <QByteArray>
#include <QVariantMap>

/** The reply to a Status, with something in every member. */
inline const QByteArray SampleStatus = R"({
    "Server": {"Version": "2.4.0", "ProcessId": 4711, "StartTime": 1795356721.25, "Uptime": 100.0, "Port": 4567,
        "Options": {"Workers": 2, "PoolMaximum": 128, "StatLevel": 4, "CommitWithoutSync": true, "LogFile": "/log/q",
                    "AllowUsers": "shop,root", "SlowMilliseconds": 100}},
    "Process": {"ResidentBytes": 125829120, "ProcessorSeconds": 12.5, "Descriptors": 812, "DescriptorLimit": 1048576},
    "Connections": {"Open": 3, "Accepted": 40, "Refused": 5},
    "Bytes": {"Received": 1048576, "Sent": 1536},
    "Threads": {"Workers": 2, "WorkersBusy": 1, "Pool": 6, "PoolBusy": 4, "PoolQueue": 7, "RepliesWaiting": 8},
    "LatencyBounds": [50, 2500, 1000000],
    "Requests": [
        {"Operation": "PutItem", "Outcome": "Success", "Count": 100, "Microseconds": 20000,
         "Latencies": [90, 8, 1, 1]},
        {"Operation": "PutItem", "Outcome": "ConditionalCheckFailedException", "Count": 2, "Microseconds": 90,
         "Latencies": [2, 0, 0, 0]},
        {"Operation": "Query", "Outcome": "Success", "Count": 4, "Microseconds": 8000, "Latencies": [0, 4, 0, 0]}],
    "SlowRequestCount": 33,
    "SlowRequests": [
        {"Time": 1795356800.5, "Operation": "Query", "Table": "shop|orders", "Keys": "abc", "Milliseconds": 150.4,
         "QueueMilliseconds": 7.4, "LockMilliseconds": 100.0, "DiskMilliseconds": 20.0, "FlushMilliseconds": 3.0, "Items": 128, "Retries": 2,
         "Peer": "127.0.0.1:51234"},
        {"Time": 1795356790.0, "Operation": "PutItem", "Table": "shop|orders", "Keys": "k\u001b[2J", "Milliseconds": 900,
         "QueueMilliseconds": 0, "LockMilliseconds": 0, "DiskMilliseconds": 0, "FlushMilliseconds": 890, "Items": 1, "Retries": 0,
         "Peer": "127.0.0.1:51235"}],
    "FailedRequestCount": 19,
    "FailedRequests": [
        {"Time": 1795356799.0, "Operation": "GetItem", "Outcome": "InternalServerError", "Result": 12,
         "Table": "shop|orders", "Keys": "\"k\u001b[2J\" \"1\"", "Peer": "127.0.0.1:51236"},
        {"Time": 1795356791.0, "Operation": "DescribeTable", "Outcome": "ResourceNotFoundException", "Result": 3,
         "Table": "shop|order", "Keys": "", "Peer": "127.0.0.1:51237"}],
    "Environments": [
        {"Directory": "/srv/shop", "Tables": 2, "Files": 300, "OpenTables": ["customers", "orders"],
         "Cache": {"Bytes": 16777216, "Pages": 4000, "DirtyPages": 12, "Hits": 990, "Misses": 10},
         "Locks": {"Waits": 21, "Deadlocks": 3},
         "Log": {"File": 17, "Offset": 65536, "Files": 4, "BytesOnDisk": 41943040},
         "Commits": 500, "Aborts": 6, "Flushes": 200, "SyncFailed": false, "LastCheckpoint": 1795356780.0,
         "Backup": {"State": "shipping", "Target": "/backup/shop", "Since": 1795356730.0, "Until": 1795356810.0}},
        {"Directory": "/srv/a \"b\\c\nd", "Tables": 0, "Files": 0, "OpenTables": [],
         "Cache": {"Bytes": 16777216, "Pages": 0, "DirtyPages": 0, "Hits": 0, "Misses": 0},
         "Locks": {"Waits": 0, "Deadlocks": 0},
         "Log": {"File": 1, "Offset": 28, "Files": 1, "BytesOnDisk": 28},
         "Commits": 0, "Aborts": 0, "Flushes": 0, "SyncFailed": true, "Backup": {"State": "none"},
         "LogHeld": {"Target": "/backup/held", "Since": 1795356720.0}}],
    "__rc": 200, "__rcstr": "OK"})";

/** The reply as a tree. */
inline QVariantMap sampleStatus()
{
    QVariant reply;
    EXPECT_TRUE(Json::parse(SampleStatus, &reply));
    return reply.toMap();
}

#endif
