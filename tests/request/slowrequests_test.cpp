#include "request/slowrequests.h"

#include "request/bdbrequest.h"
#include "request/requestbench.h"
#include "scanqueryfixture.h"
#include "support/logcapture.h"

#include <gmock/gmock.h>

namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

using Time = std::chrono::system_clock::time_point;

SlowRequest requestAt(Time time, const QString& keys = "\"a\" \"1\"")
{
    SlowRequest request;
    request.time = time;
    request.operation = "PutItem";
    request.outcome = "Success";
    request.table = "shop|orders";
    request.keys = keys;
    request.total = 1250400us;
    request.queued = 100us;
    request.locks = 2200us;
    request.disk = 300us;
    request.flush = 1247us * 1000;
    request.items = 1;
    request.retries = 2;
    request.peer = "127.0.0.1:51234";
    return request;
}

/** A time that no other test has used, later than those before: tests share the reports of the process. */
Time nextTime()
{
    static Time time{};
    time += 1h;
    return time;
}

TEST(SlowRequests, AreOneLineEach)
{
    const LogCapture log;
    const Time time = nextTime();
    SlowRequests::report(requestAt(time));
    SlowRequest bare = requestAt(time, "");
    bare.operation = "Unknown";
    bare.table = "";
    SlowRequests::report(bare);
    const std::string times = ": 1250.4 ms, queued 0.1, locks 2.2, disk 0.3, flush 1247.0, items 1, retries 2, "
                              "peer 127.0.0.1:51234";
    EXPECT_THAT(log.lines(),
                ElementsAre("[WARN] slow request PutItem table \"shop|orders\" keys \"a\" \"1\" Success" + times,
                            "[WARN] slow request Unknown Success" + times));
}

TEST(SlowRequests, AreAtMostTenLinesPerSecondAndTheOthersAreCounted)
{
    const LogCapture log;
    const std::uint64_t before = SlowRequests::count();
    const Time time = nextTime();
    for (int i = 0; i < 25; ++i)
        SlowRequests::report(requestAt(time + i * 10ms));
    EXPECT_EQ(log.count("slow request PutItem"), 10U);
    EXPECT_THAT(log.lines(), SizeIs(10));
    SlowRequests::report(requestAt(time + 999ms));
    EXPECT_THAT(log.lines(), SizeIs(10));
    SlowRequests::report(requestAt(time + 1s));
    ASSERT_THAT(log.lines(), SizeIs(12));
    EXPECT_EQ(log.lines()[10], "[WARN] slow requests: 16 more were not logged");
    EXPECT_EQ(log.count("slow request PutItem"), 11U);
    SlowRequests::report(requestAt(time + 1100ms));
    EXPECT_THAT(log.lines(), SizeIs(13)) << "told once";
    EXPECT_EQ(SlowRequests::count(), before + 28);
}

TEST(SlowRequests, AreLoggedAfterTheClockWasSetBack)
{
    const Time time = nextTime();
    for (int i = 0; i < 15; ++i)
        SlowRequests::report(requestAt(time));
    const LogCapture log;
    SlowRequests::report(requestAt(time - 10min));
    EXPECT_EQ(log.count("slow request PutItem"), 1U);
}

TEST(SlowRequests, KeepTheLatestSixteenNewestFirst)
{
    const Time time = nextTime();
    for (int i = 0; i < 20; ++i)
        SlowRequests::report(requestAt(time + i * 1s, QString::number(i)));
    std::vector<std::string> keys;
    for (const SlowRequest& slow : SlowRequests::latest())
        keys.push_back(slow.keys.toStdString());
    EXPECT_THAT(keys,
                ElementsAre("19", "18", "17", "16", "15", "14", "13", "12", "11", "10", "9", "8", "7", "6", "5", "4"));
}

TEST(SlowRequests, HaveKeysThatStayOnOneLine)
{
    EXPECT_EQ(SlowRequests::keysText("abc", "2012-01"), "\"abc\" \"2012-01\"");
    EXPECT_EQ(SlowRequests::keysText("", ""), "\"\" \"\"");
    EXPECT_EQ(SlowRequests::keysText(QByteArray("a\0b", 3), "x\r\ny\t\x7f\x85"),
              "\"a\\u0000b\" \"x\\u000d\\u000ay\\u0009\\u007f\\u0085\"");
    EXPECT_EQ(SlowRequests::keysText("say \"no\"", "\\"), "\"say \\u0022no\\u0022\" \"\\u005c\"");
    EXPECT_EQ(SlowRequests::keysText("\xe4", "\xad"), QString::fromUtf8("\"\xc3\xa4\" \"\\u00ad\""));
    EXPECT_EQ(SlowRequests::keysText(QByteArray(64, 'h'), QByteArray(65, 'r')),
              '"' + QString(64, 'h') + "\" \"" + QString(64, 'r') + "\"...");
    EXPECT_EQ(SlowRequests::keysText(QByteArray(1 << 20, '\n'), "").size(), 64 * 6 + 8);
}

TEST(SlowRequests, HaveTheBeginningOfATableName)
{
    EXPECT_EQ(SlowRequests::tableText("shop|orders"), "shop|orders");
    const QByteArray umlauts = QByteArray("\xc3\xa4").repeated(300);
    EXPECT_EQ(SlowRequests::tableText(umlauts), QString::fromUtf8(umlauts).left(256) + "...");
    EXPECT_EQ(SlowRequests::tableText(umlauts.left(512)), QString::fromUtf8(umlauts.left(512)));
}

TEST(SlowRequests, HaveALineWithoutControlCharactersInTheTable)
{
    const LogCapture log;
    SlowRequest request = requestAt(nextTime());
    request.table = QString::fromUtf8("a\n[CRIT]\xe2\x80\xae");
    SlowRequests::report(request);
    ASSERT_THAT(log.lines(), SizeIs(1));
    EXPECT_THAT(log.lines().front(), testing::HasSubstr(" table \"a\\u000a[CRIT]\\u202e\" keys"));
}

/** What an operation records for the report. */
class NotedRequest : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_EQ(bench_.createTable().status, StatusSuccess);
        for (const char* range : {"1", "2", "3"})
            ASSERT_EQ(bench_.run("PutItem", body({{"Item", itemOf("h", range)}})).status, StatusSuccess);
    }

    QVariantMap body(const QVariantMap& more) const { return merged({{"TableName", bench_.tableName()}}, more); }

    /** "table hash range items". */
    std::string noted(const QByteArray& operation, const QVariantMap& body)
    {
        BDBObjTable connection(256);
        BDBRequest request(bench_.registry(), &connection, 1024);
        request.operation = Operations::fullName(operation);
        request.parsedBody = RequestBody(body);
        request.trace.emplace();
        Requests::dispatch(request);
        const RequestTrace& trace = *request.trace;
        EXPECT_EQ(trace.table, bench_.tableBytes());
        const std::string keys =
            trace.hasKeys ? trace.hashKey.toStdString() + ' ' + trace.rangeKey.toStdString() : "none";
        return keys + ' ' + std::to_string(trace.items);
    }

    RequestBench bench_;
};

TEST_F(NotedRequest, OfOneItem)
{
    EXPECT_EQ(noted("PutItem", body({{"Item", itemOf("h", "4")}})), "h 4 1");
    EXPECT_EQ(noted("GetItem", body({{"Key", itemKey("h", "1")}})), "h 1 1");
    EXPECT_EQ(noted("GetItem", body({{"Key", itemKey("h", "none")}})), "h none 0");
    EXPECT_EQ(noted("UpdateItem", body({{"Key", itemKey("h", "1")}})), "h 1 1");
    EXPECT_EQ(noted("DeleteItem", body({{"Key", itemKey("h", "1")}})), "h 1 1");
}

TEST_F(NotedRequest, OfManyItems)
{
    EXPECT_EQ(noted("Query", body({{"HashKeyValue", textValue("h")}})), "h  3");
    EXPECT_EQ(noted("Query", body({{"HashKeyValue", textValue("h")}, {"ExclusiveStartKey", itemKey("h", "1")}})),
              "h 1 2");
    EXPECT_EQ(noted("Scan", body({})), "none 3");
    EXPECT_EQ(noted("Scan", body({{"Limit", 1}, {"ExclusiveStartKey", itemKey("h", "1")}})), "h 1 1");
    const QVariantList entries{putEntry(itemOf("h", "5")), deleteEntry("h", "2"), putEntry(itemOf("g", "1"))};
    EXPECT_EQ(noted("BatchWriteItem", {{"RequestItems", QVariantMap{{bench_.tableName(), entries}}}}), "h 5 3");
}

TEST_F(NotedRequest, OfOthers)
{
    EXPECT_EQ(noted("DescribeTable", body({})), "none 0");
    EXPECT_EQ(noted("UpdateTable", body({})), "none 0");
}

} // namespace
