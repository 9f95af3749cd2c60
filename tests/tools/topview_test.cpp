#include "tools/topview.h"

#include "support/samplestatus.h"
#include "tools/units.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

namespace {

using Client::ServerStatus;
using Ctl::StatusChange;
using Ctl::TopView;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;

class TopViewTest : public testing::Test {
protected:
    TopViewTest()
    {
        now_.uptime += 10;
        now_.requests[0].count += 25;
        now_.requests[0].latencies.counts = {113, 9, 2, 1};
        now_.requests[1].count += 5;
        now_.requests[1].latencies.counts = {2, 0, 0, 5};
        now_.requests[2].count += 40;
        now_.requests[2].latencies.counts = {40, 4, 0, 0};
        now_.receivedBytes += 20480;
        now_.sentBytes += 1000;
        now_.connectionsAccepted += 4;
        now_.connectionsRefused += 1;
        now_.processorSeconds += 2.5;
        ServerStatus::Environment& shop = now_.environments.front();
        shop.cacheHits += 30;
        shop.cacheMisses += 10;
        shop.logBytes += 10240;
        shop.commits += 20;
        shop.flushes += 5;
        shop.lockWaits += 2;
        shop.deadlocks += 1;
    }

    std::vector<std::string> lines() const
    {
        return view_.lines("127.0.0.1:4567", now_, StatusChange::between(&before_, now_));
    }

    /** The names of the operations, in the order shown. */
    std::vector<std::string> operations() const
    {
        std::vector<std::string> names;
        bool isInside = false;
        for (const std::string& line : lines()) {
            if (isInside && line.empty())
                break;
            if (isInside)
                names.push_back(line.substr(0, line.find(' ')));
            isInside = isInside || line.starts_with("OPERATION ");
        }
        return names;
    }

    ServerStatus before_ = ServerStatus::of(sampleStatus());
    ServerStatus now_ = ServerStatus::of(sampleStatus());
    TopView view_;
};

} // namespace

TEST_F(TopViewTest, ShowsRatesOfTheInterval)
{
    const std::string until = Units::date(1795356810);
    std::vector<std::string> shown = lines();
    ASSERT_EQ(shown.size(), 19U);
    shown.resize(15);
    EXPECT_THAT(
        shown,
        ElementsAre(
            "quorva 2.4.0 at 127.0.0.1:4567, process 4711, up 1 min 50 s; figures of 10 s",
            "requests     7.0/s, 0.50/s failed", "connections  3 open, 0.40/s new, 0.10/s refused",
            "traffic      2.0 KiB/s in, 100 B/s out",
            "now          4 running, 7 queued, 8 waiting for the log to be on disk",
            "threads      1 of 2 workers busy, 6 in the pool",
            "process      120.0 MiB of memory, 25.0 % of a processor, 812 of 1048576 descriptors", "",
            "OPERATION  RATE/s  FAILED/s    P50     P99     MAX  TOTAL",
            "Query         4.0         0  50 us   50 us   50 us     44",
            "PutItem       3.0      0.50  50 us  longer  longer    132", "",
            "ENVIRONMENT     TABLES  CACHE HITS       LOG     GROWTH  COMMITS/s  FLUSHES/s  PER FLUSH  LOCK WAITS/s  "
            "DEADLOCKS/s  BACKUP",
            "/srv/shop            2      75.0 %  40.0 MiB  1.0 KiB/s        2.0       0.50        4.0          0.20  "
            "       0.10  shipping, until " +
                until,
            "/srv/a \"b\\c\\nd       0           -      28 B      0 B/s          0          0          -             0 "
            " "
            "          0  none"));
}

TEST_F(TopViewTest, ShowsTheSlowestRequestsFirstAndNothingThatControlsTheTerminal)
{
    const std::vector<std::string> shown = lines();
    ASSERT_EQ(shown.size(), 19U);
    EXPECT_EQ(shown[16],
              "SLOW REQUEST          TOTAL  QUEUE   LOCKS   DISK   FLUSH  ITEMS  RETRIES  OPERATION  TABLE        "
              "KEYS        PEER");
    EXPECT_EQ(shown[17],
              Units::date(1795356790) +
                  "  900 ms   0 ms    0 ms   0 ms  890 ms      1        0  PutItem    shop|orders  k\\u001b[2J  "
                  "127.0.0.1:51235");
    EXPECT_EQ(shown[18],
              Units::date(1795356800) +
                  "  150 ms   7 ms  100 ms  20 ms    3 ms    128        2  Query      shop|orders  abc         "
                  "127.0.0.1:51234");
}

TEST_F(TopViewTest, LeavesOutTheColumnsThatMatterLeastOnANarrowTerminal)
{
    const auto at = [this](int width) {
        return view_.lines("127.0.0.1:4567", now_, StatusChange::between(&before_, now_), width);
    };
    EXPECT_EQ(at(100)[12], "ENVIRONMENT     CACHE HITS       LOG     GROWTH  COMMITS/s  BACKUP");
    EXPECT_EQ(at(80)[12], "ENVIRONMENT     TABLES  CACHE HITS       LOG     GROWTH  COMMITS/s  LOCK WAITS/s");
    EXPECT_EQ(at(80)[13], "/srv/shop            2      75.0 %  40.0 MiB  1.0 KiB/s        2.0          0.20");
    EXPECT_EQ(at(40)[12], "ENVIRONMENT     CACHE HITS  COMMITS/s");
    EXPECT_EQ(at(40)[8], "OPERATION  RATE/s  FAILED/s     P99");
    EXPECT_EQ(at(80)[16], "SLOW REQUEST          TOTAL   LOCKS   DISK  OPERATION  TABLE        KEYS");
}

TEST_F(TopViewTest, SortsTheOperations)
{
    using Order = TopView::Order;
    now_.requests.push_back(now_.requests.front());
    now_.requests.back().operation = "Another"; // as PutItem's successes, all in the interval
    const auto sortedBy = [this](Order order) {
        view_.setOrder(order);
        return operations();
    };
    EXPECT_THAT(sortedBy(Order::Rate), ElementsAre("Another", "Query", "PutItem"));
    EXPECT_THAT(sortedBy(Order::Failed), ElementsAre("PutItem", "Another", "Query"));
    EXPECT_THAT(sortedBy(Order::Median), ElementsAre("Another", "PutItem", "Query")) << "equal: by name";
    EXPECT_THAT(sortedBy(Order::Percentile), ElementsAre("PutItem", "Another", "Query"));
    EXPECT_THAT(sortedBy(Order::Slowest), ElementsAre("Another", "PutItem", "Query"));
    EXPECT_THAT(sortedBy(Order::Name), ElementsAre("Another", "PutItem", "Query"));
}

TEST_F(TopViewTest, SaysSinceWhenTheFiguresAre)
{
    const auto shown = view_.lines("127.0.0.1:4567", now_, StatusChange::between(nullptr, now_));
    EXPECT_THAT(shown.front(), HasSubstr("; figures since its start"));
}

TEST_F(TopViewTest, SaysWhyThereIsNothing)
{
    now_.environments.clear();
    now_.slowRequests.clear();
    EXPECT_THAT(lines(), Contains("no environment is open"));
    EXPECT_THAT(lines(), Contains("no request has taken longer than 100 ms"));
    now_.slowMilliseconds = 0;
    EXPECT_THAT(lines(), Contains("slow requests are not recorded; QUORVA_SLOW_MS=100 in the server's environment "
                                  "records those above 100 ms"));
}

TEST_F(TopViewTest, LogThatShrinksHasANegativeGrowth)
{
    now_.environments.front().logBytes = before_.environments.front().logBytes - 20480;
    EXPECT_THAT(lines(), Contains(HasSubstr("  -2.0 KiB/s  ")));
}
