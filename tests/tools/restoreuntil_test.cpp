#include "keepfixture.h"

#include <algorithm>
#include <mutex>
#include <thread>

namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;

constexpr std::time_t Noon = 2'000'030'400; // of 2033-05-18, UTC, which has to be after the table was made

class RestoreUntil : public KeepTest {
protected:
    void SetUp() override
    {
        SKIP_WITHOUT_PRELOADED_LIBRARIES();
        KeepTest::SetUp();
    }

    static ProgramRun restoreUntil(const std::string& from, const std::string& to, const std::string& time)
    {
        return ::quorvactl({"restore", from, to, "--until", time});
    }

    /** The items "k" of a restore to that time. */
    std::vector<std::string> keysAt(std::time_t time)
    {
        const ProgramRun run = restoreUntil(backup(), target(), std::to_string(time));
        EXPECT_EQ(run.status, 0) << run.error;
        EXPECT_EQ(run.error, "");
        std::vector<std::string> keys = keysIn(target());
        fs::remove_all(target());
        return keys;
    }

    void putAt(std::time_t time, const QString& key)
    {
        clock().set(time);
        put("k", key, {{"a", textValue("x")}});
    }

    void expectRefusal(const std::string& time, const std::string& message, int status = 1)
    {
        const auto before = contentsOf(backup());
        const ProgramRun run = restoreUntil(backup(), target(), time);
        EXPECT_EQ(run.status, status);
        EXPECT_EQ(run.output, "");
        EXPECT_EQ(run.error, "quorvactl: " + message + '\n');
        EXPECT_FALSE(fs::exists(target()));
        EXPECT_EQ(contentsOf(backup()), before);
    }
};

/** Writes of several connections, each with the seconds that the clock showed before its request and after its reply.
 */
class Ledger {
public:
    struct Write {
        std::string key;
        std::time_t sent;
        std::time_t acknowledged;
    };

    void run(const ServerProcess& server, const QString& table, StandingClock* clock)
    {
        constexpr int Connections = 4;
        std::vector<std::thread> threads;
        for (int i = 0; i < Connections; ++i)
            threads.emplace_back([&, i] { write(server, table, clock, i); });
        for (std::thread& thread : threads)
            thread.join();
    }

    void expectExactlyUntil(std::time_t second, const std::vector<std::string>& found) const
    {
        std::size_t certain = 0;
        for (const Write& one : writes_) {
            const bool isThere = std::find(found.begin(), found.end(), one.key) != found.end();
            if (one.acknowledged <= second) {
                EXPECT_TRUE(isThere) << one.key << " was acknowledged " << second - one.acknowledged << " s before";
                ++certain;
            }
            if (one.sent > second) {
                EXPECT_FALSE(isThere) << one.key << " was sent " << one.sent - second << " s after";
            }
        }
        EXPECT_GT(certain, 0U);
        EXPECT_GE(found.size(), certain);
        EXPECT_LT(found.size(), writes_.size());
    }

private:
    void write(const ServerProcess& server, const QString& table, StandingClock* clock, int number)
    {
        Caller caller(server);
        for (int i = 0; i < 120; ++i) {
            if (number == 0 && i % 10 == 0)
                clock->advance(1);
            const QString key = QString("w%1-%2").arg(number).arg(i);
            const QVariantMap item{{"h", textValue("k")}, {"r", textValue(key)}, {"v", textValue(QString(2000, 'v'))}};
            const std::time_t sent = clock->now();
            const QVariantMap reply = caller.request("PutItem", {{"TableName", table}, {"Item", item}});
            const std::time_t acknowledged = clock->now();
            EXPECT_EQ(reply.value("__rc"), QVariant(200LL));
            const std::lock_guard lock(mutex_);
            writes_.push_back({key.toStdString(), sent, acknowledged});
        }
    }

    std::mutex mutex_;
    std::vector<Write> writes_;
};

} // namespace

TEST_F(RestoreUntil, HoldsEveryWriteAcknowledgedByThatSecondAndNoneSentAfterIt)
{
    clock().set(Noon);
    backUpTo(makeDirectory("backup"));
    endShipping();
    Ledger ledger;
    ledger.run(server_, tableName(), &clock());
    clock().advance(60);
    fillMore(2);
    ship(backup());
    for (const int seconds : {3, 6, 9}) {
        SCOPED_TRACE(seconds);
        ledger.expectExactlyUntil(Noon + seconds, keysAt(Noon + seconds));
    }
}

TEST_F(RestoreUntil, TakesTheWholeSecondAndReportsHowFarItGot)
{
    putAt(Noon, "in the copy");
    backUpTo(makeDirectory("backup"));
    endShipping();
    putAt(Noon + 10, "ten");
    putAt(Noon + 20, "twenty");
    putAt(Noon + 30, "thirty");
    fillMore(2);
    ship(backup());
    EXPECT_THAT(keysAt(Noon + 9), ElementsAre("in the copy"));
    EXPECT_THAT(keysAt(Noon + 10), ElementsAre("in the copy", "ten"));
    EXPECT_THAT(keysAt(Noon + 29), ElementsAre("in the copy", "ten", "twenty"));

    const ProgramRun run = restoreUntil(backup(), target(), "2033-05-18T13:00:15+01:00");
    EXPECT_EQ(run.status, 0) << run.error;
    EXPECT_EQ(run.output,
              "t: 2 items\ndata until 2033-05-18 12:00:10 UTC\nrestored 1 table with 2 items to " + target() + '\n');
    // It is a directory like any other.
    EXPECT_EQ(request("PutItem", {{"TableName", tableIn(target())},
                                  {"Item", QVariantMap{{"h", textValue("k")}, {"r", textValue("later")}}}})
                  .value("__rc"),
              QVariant(200LL));
    restartServer();
    EXPECT_THAT(keysIn(target()), ElementsAre("in the copy", "later", "ten"));
}

TEST_F(RestoreUntil, TimesOutsideTheBackupAreRefused)
{
    putAt(Noon, "a");
    backUpTo(makeDirectory("backup"));
    endShipping();
    expectRefusal(std::to_string(Noon - 1), backup() + " cannot be restored to 2033-05-18 11:59:59 UTC: the copy was "
                                                       "complete at 2033-05-18 12:00:00 UTC; an earlier copy can");
    expectRefusal(std::to_string(Noon + 3600), backup() + " cannot be restored to 2033-05-18 13:00:00 UTC: its last "
                                                          "commit was at 2033-05-18 12:00:00 UTC; without --until it "
                                                          "is restored up to then");
    expectRefusal(
        "noon",
        "\"noon\" is not a time; write it as in 2026-11-22T14:05:00Z, as \"2026-11-22 14:05:00\" in the local "
        "time zone, or in seconds since 1970",
        64);
    EXPECT_THAT(keysAt(Noon), ElementsAre("a"));
}

TEST_F(RestoreUntil, AClockThatWasSetBackLeavesTheStateOfOneInstant)
{
    putAt(Noon, "in the copy");
    backUpTo(makeDirectory("backup"));
    endShipping();
    putAt(Noon + 50, "first 50");
    putAt(Noon + 100, "100");
    putAt(Noon + 60, "60, later"); // in the same pages
    putAt(Noon + 70, "70, later");
    putAt(Noon + 200, "200");
    fillMore(2);
    ship(backup());
    EXPECT_THAT(keysAt(Noon + 40), ElementsAre("in the copy"));
    EXPECT_THAT(keysAt(Noon + 65), ElementsAre("first 50", "in the copy")) << "what was at 65 for the first time";
    EXPECT_THAT(keysAt(Noon + 100), ElementsAre("100", "60, later", "70, later", "first 50", "in the copy"));
}

TEST_F(RestoreUntil, ACopyWithoutAListDoesNotShowWhereItsLogEnded)
{
    putAt(Noon, "a");
    backUpTo(makeDirectory("backup"));
    endShipping();
    fs::remove(listIn(backup()));
    const ProgramRun run =
        ::quorvactl({"restore", backup(), target(), "--without-list", "--until", std::to_string(Noon)});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.error, "quorvactl: " + backup() +
                             " has no list of its files, so its log does not show to which times it can be restored\n");
    EXPECT_FALSE(fs::exists(target()));
}
