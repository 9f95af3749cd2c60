/* The crash tests detect errors: a ledger is given wrong contents, and a disk loses what it must not. */
#include "crashbench.h"

#include "support/waituntil.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

/** An environment in memory. */
class Contents : public Reader {
public:
    std::optional<QVariantMap> item(const ItemAddress& address) override { return items[address.hash]; }
    std::optional<QVariantMap> description(const QString&) override { return QVariantMap(); }

    std::map<QString, QVariantMap> items;
};

class LedgerTest : public testing::Test {
protected:
    /** Brings a unit to an acknowledged version, and leaves another one in flight, if any. */
    void advance(Unit* unit, int acknowledged, int inFlight = 0)
    {
        for (int version = 1; version <= acknowledged; ++version) {
            ledger_.begin(&unit->progress, version);
            ledger_.acknowledge(&unit->progress);
        }
        ledger_.begin(&unit->progress, inFlight);
    }

    void store(const Unit& unit, int version)
    {
        for (std::size_t i = 0; i < unit.items.size(); ++i)
            contents_.items[unit.items[i].hash] = unit.contents(i, version).value_or(QVariantMap());
    }

    Ledger ledger_{2};
    Contents contents_;
};

TEST_F(LedgerTest, AcknowledgedVersionsHaveToBeThere)
{
    Unit* unit = ledger_.addUnit({{"t", "a", "r"}}, false);
    advance(unit, 3);
    store(*unit, 3);
    EXPECT_THAT(ledger_.verify(&contents_), IsEmpty());
    store(*unit, 2);
    EXPECT_THAT(ledger_.verify(&contents_), ElementsAre(HasSubstr("t/a/r: 1 items are of no allowed version")));
}

TEST_F(LedgerTest, WhatWasInFlightMayBeThereAndThenHasToStay)
{
    Unit* unit = ledger_.addUnit({{"t", "a", "r"}}, false);
    advance(unit, 1, 2);
    store(*unit, 2);
    EXPECT_THAT(ledger_.verify(&contents_), IsEmpty());
    store(*unit, 1);
    EXPECT_THAT(ledger_.verify(&contents_), ElementsAre(HasSubstr("acknowledged is version 2")));
}

TEST_F(LedgerTest, WhatWasNeverAskedForMustNotBeThere)
{
    Unit* unit = ledger_.addUnit({{"t", "a", "r"}}, false);
    advance(unit, 1);
    store(*unit, 2);
    EXPECT_THAT(ledger_.verify(&contents_), ElementsAre(HasSubstr("at most 1 was asked for")));
}

TEST_F(LedgerTest, HalfABatchIsWrong)
{
    Unit* unit = ledger_.addUnit({{"t", "a", "r"}, {"t", "b", "r"}}, false);
    advance(unit, 1, 2);
    store(*unit, 2);
    EXPECT_THAT(ledger_.verifyCopy(&contents_, {}), IsEmpty());
    contents_.items["a"] = *unit->contents(0, 1);
    EXPECT_THAT(ledger_.verify(&contents_), ElementsAre(HasSubstr("2 items are of no allowed version")));
}

TEST_F(LedgerTest, ACopyHoldsWhatWasAcknowledgedBefore)
{
    Unit* unit = ledger_.addUnit({{"t", "a", "r"}}, false);
    advance(unit, 2);
    const Ledger::Floor then = ledger_.floor();
    advance(unit, 4);
    for (const int version : {2, 3, 4}) {
        store(*unit, version);
        EXPECT_THAT(ledger_.verifyCopy(&contents_, then), IsEmpty()) << version;
    }
    store(*unit, 1);
    EXPECT_THAT(ledger_.verifyCopy(&contents_, then), ElementsAre(HasSubstr("acknowledged is version 2")));
}

TEST_F(LedgerTest, CountersAreWithinTheirBoundsAndAddUp)
{
    Counter* counter = ledger_.addCounter({"t", "c", "r"});
    ledger_.begin(&counter->writers[0], 1);
    ledger_.acknowledge(&counter->writers[0]);
    ledger_.begin(&counter->writers[1], 1);
    const auto stored = [](const char* total, const char* first, const char* second) {
        return QVariantMap{{"total", numberValue(total)}, {"w0", numberValue(first)}, {"w1", numberValue(second)}};
    };
    for (const QVariantMap& allowed : {stored("1", "1", "0"), stored("2", "1", "1")}) {
        contents_.items["c"] = allowed;
        EXPECT_THAT(ledger_.verifyCopy(&contents_, ledger_.floor()), IsEmpty());
    }
    contents_.items["c"] = stored("0", "0", "0");
    EXPECT_THAT(ledger_.verifyCopy(&contents_, ledger_.floor()), ElementsAre(HasSubstr("writer 0 added 0")));
    contents_.items["c"] = stored("3", "1", "2");
    EXPECT_THAT(ledger_.verifyCopy(&contents_, ledger_.floor()), ElementsAre(HasSubstr("writer 1 added 2")));
    contents_.items["c"] = stored("1", "1", "1");
    EXPECT_THAT(ledger_.verifyCopy(&contents_, ledger_.floor()), ElementsAre(HasSubstr("the total is not the sum")));
}

TEST_F(LedgerTest, AVersionOfAContestHasOneWinner)
{
    Contest* contest = ledger_.addContest({"t", "c", "r"});
    for (const int writer : {0, 1}) {
        ledger_.beginContest(contest, 1, writer);
        ledger_.winContest(contest, 1, writer);
    }
    contents_.items["c"] = {{"version", numberValue("1")}, {"by", numberValue("0")}};
    EXPECT_THAT(ledger_.verify(&contents_), ElementsAre(HasSubstr("acknowledged to the writers 0 and 1")));
    contents_.items["c"] = {{"version", numberValue("1")}, {"by", numberValue("1")}};
    EXPECT_THAT(ledger_.verify(&contents_), ElementsAre(HasSubstr("was acknowledged to writer 0")));
    contents_.items["c"] = {};
    EXPECT_THAT(ledger_.verify(&contents_), ElementsAre(HasSubstr("although 1 was acknowledged")));
}

/** The tests detect a disk that reports everything as written and then loses it. */
TEST(CrashTestItself, NoticesADiskThatDoesNotSynchronise)
{
#ifdef QUORVA_SANITIZED
    GTEST_SKIP() << "a sanitizer wants to be the first library of its process";
#endif
    const TempDir directory;
    const std::string home = directory.makeDirectory("env");
    const WriteBackLoss loss(home, directory.makeDirectory("durable"));
    ServerProcess::Setup setup{.environment = loss.environment()};
    setup.environment["CRASH_IGNORE_SYNC"] = "1";
    ServerProcess server(setup);
    Ledger ledger(Writers::Count);
    Writers writers(&ledger, QString::fromStdString(home), {.firstTouch = true}, 1);
    ASSERT_TRUE(server.start());
    writers.start(server.port());
    EXPECT_TRUE(waitUntil([&] { return ledger.acknowledgements() >= 20; }));
    server.kill();
    EXPECT_EQ(server.waitForExit(), -SIGKILL);
    writers.join();
    loss.loseAll();
    ASSERT_TRUE(server.start());
    CrashClient reader(server.port(), QString::fromStdString(home));
    EXPECT_GE(ledger.verify(&reader).size(), 10U);
}

} // namespace
