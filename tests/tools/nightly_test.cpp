#include "nightlyfixture.h"

namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::SizeIs;

using Nightly = NightlyTest;

const std::string CopyName = "[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{6}Z";

} // namespace

TEST_F(Nightly, TheDirectoryOfSeveralSeriesIsNoBackupAndNamesThem)
{
    const std::string copy = oneNight();
    const std::string refusal = "quorvactl: " + to() + " is not a backup, but has dated copies below it; name one of " +
                                series() + " (1 copy, the last " + copy + ")\n";
    for (const auto& command : {std::vector<std::string>{"backup", "show", to()},
                                {"restore", to(), pathOf("restored")},
                                {"standby", to(), pathOf("standby")}}) {
        const ProgramRun run = ::quorvactl(command);
        EXPECT_EQ(run.status, 1);
        EXPECT_EQ(run.error, refusal);
    }
    EXPECT_FALSE(std::filesystem::exists(pathOf("restored")));
    EXPECT_FALSE(std::filesystem::exists(pathOf("standby")));
}

TEST_F(Nightly, MakesADatedCopyVerifiesItAndHasLogFilesShippedToIt)
{
    const ProgramRun run = nightly();
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.error, "");
    EXPECT_THAT(run.output, MatchesRegex(home() + ": copied to " + series() + '/' + CopyName +
                                         ", 1 table with 1 item, data until .* UTC; removed 0 older copies\n"));
    ASSERT_THAT(copies(), SizeIs(1));
    const std::string copy = series() + '/' + copies().front();
    EXPECT_THAT(namesIn(series()), ElementsAre(copies().front(), copies().front() + ".verified"));
    EXPECT_EQ(shippedTo(), copy);
    fillMore(3);
    ship(copy);
    EXPECT_EQ(restore(copy, target()).status, 0);
    EXPECT_THAT(keysIn(target()), ElementsAre("first"));
}

TEST_F(Nightly, KeepsTheNewestOnes)
{
    std::vector<std::string> made;
    for (int i = 0; i < 4; ++i)
        made.push_back(oneNight({"--keep", "2"}));
    EXPECT_THAT(namesIn(series()), ElementsAre(made[2], made[2] + ".verified", made[3], made[3] + ".verified"));
    EXPECT_EQ(shippedTo(), series() + '/' + made[3]);
    EXPECT_THAT(nightly({"--keep", "1"}).output, HasSubstr("; removed 2 older copies\n"));
    EXPECT_THAT(copies(), SizeIs(1));
}

TEST_F(Nightly, TheCopiesTogetherGoBackToAnyTimeSinceTheOldest)
{
    SKIP_WITHOUT_PRELOADED_LIBRARIES();
    const std::time_t start = clock().now() + 100;
    for (int night = 0; night < 3; ++night) {
        clock().set(start + night * 100);
        put("k", QString("before %1").arg(night), {{"a", textValue("x")}});
        clock().advance(10);
        (void)oneNight();
        clock().advance(40);
        put("k", QString("after %1").arg(night), {{"a", textValue("x")}});
        fillMore(2);
        if (night == 1)
            restartServer(); // what is not shipped stays with the server until it is copied
    }
    const std::vector<std::pair<std::time_t, std::size_t>> cases{{25, 2}, {60, 3}, {125, 4}, {160, 5}, {200, 6}};
    for (const auto& [seconds, items] : cases) {
        SCOPED_TRACE(seconds);
        const ProgramRun run = ::quorvactl({"restore", series(), target(), "--until", std::to_string(start + seconds)});
        EXPECT_EQ(run.status, 0) << run.error;
        EXPECT_THAT(keysIn(target()), SizeIs(items));
        fs::remove_all(target());
    }
    const ProgramRun early = ::quorvactl({"restore", series(), target(), "--until", std::to_string(start - 200)});
    EXPECT_EQ(early.status, 1);
    EXPECT_THAT(early.error, HasSubstr(series() + " does not reach back to "));
    EXPECT_EQ(::quorvactl({"restore", series(), target()}).status, 0);
    EXPECT_THAT(keysIn(target()), SizeIs(6));
}

TEST_F(Nightly, IsShownAsAWhole)
{
    const std::string first = oneNight();
    createTable(tableName("sub/u"));
    const std::string second = oneNight({"--no-verify"});
    fs::create_directory(series() + "/2099-01-01T000000Z");
    const ProgramRun run = ::quorvactl({"backup", "show", series()});
    EXPECT_EQ(run.status, 0) << run.error;
    const std::string time = "[-0-9]+ [:0-9]+ UTC";
    const std::string size = "[0-9]+[.][0-9] [KM]iB";
    EXPECT_THAT(run.output, MatchesRegex("backups    " + series() + "\nof         " + home() + "\nsince      " + time +
                                         "\nuntil      " + time + "\nlog files  1 to 1, no gap\nsize       " + size +
                                         "\ntables     sub/u, t\ncopies     " + first + "  verified, since " + time +
                                         ", " + size + "\n           " + second + "  complete, since " + time + ", " +
                                         size + "\n           2099-01-01T000000Z  unfinished, since unknown, 0 B\n"));
}

TEST_F(Nightly, AClockThatWasSetBackStillMakesTheNewestCopyTheLast)
{
    const std::string first = oneNight();
    ASSERT_TRUE(waitUntil([&] { return shippedTo() == series() + '/' + first; }));
    stopBackup();
    fs::rename(series() + '/' + first, series() + "/2098-12-31T235959Z");
    fs::rename(series() + '/' + first + ".verified", series() + "/2098-12-31T235959Z.verified");
    const ProgramRun run = nightly();
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.error, "quorvactl: " + series() +
                             "/2098-12-31T235959Z is dated in the future; the new copy is named one second later\n");
    EXPECT_THAT(copies(), ElementsAre("2098-12-31T235959Z", "2099-01-01T000000Z"));
}

TEST_F(Nightly, WithoutVerificationACopyCountsAsItIs)
{
    EXPECT_THAT(nightly({"--no-verify"}).output, HasSubstr(", not verified; removed 0 older copies\n"));
    EXPECT_THAT(nightly({"--no-verify", "--keep", "1"}).output, HasSubstr("; removed 1 older copy\n"));
    EXPECT_THAT(namesIn(series()), SizeIs(1));
}

TEST_F(Nightly, ResumesTheShippingAfterARestart)
{
    EXPECT_EQ(nightly({"--resume"}).status, 1) << "there is no copy";
    const std::string copy = series() + '/' + oneNight();
    restartServer();
    EXPECT_EQ(shippedTo(), "");
    for (int i = 0; i < 2; ++i) { // the second time it is shipped already
        const ProgramRun run = nightly({"--resume"});
        EXPECT_EQ(run.status, 0) << run.error;
        EXPECT_EQ(run.output, home() + ": log files are shipped to " + copy + '\n');
        EXPECT_EQ(shippedTo(), copy);
    }
    EXPECT_THAT(copies(), SizeIs(1));
}
