#include "keepfixture.h"

namespace {

namespace fs = std::filesystem;
using testing::MatchesRegex;

constexpr std::time_t Noon = 2'000'030'400; // of 2033-05-18, UTC, which has to be after the table was made

class BackupShow : public KeepTest {
protected:
    static ProgramRun show(const std::string& directory) { return ::quorvactl({"backup", "show", directory}); }

    void SetUp() override
    {
        SKIP_WITHOUT_PRELOADED_LIBRARIES();
        KeepTest::SetUp();
        createTable(tableName("sub/u"));
        clock().set(Noon);
        put("k", "in the copy", {{"a", textValue("x")}});
        backUpTo(makeDirectory("backup"));
        endShipping();
    }

    std::string expected(const std::string& complete, const std::string& until, const std::string& logs) const
    {
        return "backup     " + backup() + "\nof         " + home() + "\ncomplete   " + complete +
               "\nsince      2033-05-18 12:00:00 UTC\nuntil      " + until + "\nlog files  " + logs +
               "\nsize       [0-9]+[.][0-9] [KM]iB\ntables     sub/u, t\n";
    }

    void expectShown(const std::string& output, int status, const std::string& error)
    {
        const auto before = contentsOf(backup());
        const ProgramRun run = show(backup());
        EXPECT_EQ(run.status, status);
        EXPECT_THAT(run.output, MatchesRegex(output));
        EXPECT_EQ(run.error, error);
        EXPECT_EQ(contentsOf(backup()), before);
    }
};

} // namespace

TEST_F(BackupShow, ShowsWhatACopyAndItsLogContain)
{
    expectShown(expected("yes", "2033-05-18 12:00:00 UTC", "1 to 1, no gap"), 0, "");
    clock().set(Noon + 3600);
    fillMore(3);
    ship(backup());
    clock().set(Noon + 7200);
    put("k", "not shipped", {{"a", textValue("x")}});
    expectShown(expected("yes", "2033-05-18 13:00:0[0-9] UTC", "1 to [34], no gap"), 0, "");
}

TEST_F(BackupShow, ReportsAGap)
{
    clock().set(Noon + 3600);
    fillMore(4);
    ship(backup());
    fs::remove(backup() + "/__log__/" + logName(2));
    expectShown(expected("no", "2033-05-18 1[23]:00:0[0-9] UTC", "1 to 1, a gap at 2"), 1,
                "quorvactl: " + backup() +
                    " has a gap in its log: log.0000000002 is missing, and later log files cannot be applied without "
                    "it\n");
}

TEST_F(BackupShow, ReportsAnUnfinishedCopyAndMissingFiles)
{
    makeMarker(backup());
    expectShown(
        expected("no", "2033-05-18 12:00:00 UTC", "1 to 1, no gap"), 1,
        "quorvactl: " + backup() +
            " is unfinished: it contains BackupInProgress.tmp; wait for the running backup to complete, or make "
            "another one\n");
    fs::remove(markerIn(backup()));
    fs::remove(backup() + "/t");
    expectShown(expected("no", "2033-05-18 12:00:00 UTC", "1 to 1, no gap"), 1,
                "quorvactl: " + backup() + " is incomplete: t is missing\n");
}

TEST_F(BackupShow, WhatIsNoBackupIsRefused)
{
    const std::string closed = "quorvactl: " + home() +
                               " has no BackupFiles.list: it is a directory of tables, or a copy "
                               "that was made without a list of its files\n";
    EXPECT_EQ(show(home()).error, closed);
    put("k", "opens it", {{"a", textValue("x")}});
    EXPECT_EQ(show(home()).error,
              "quorvactl: " + home() + " is open in a server: it is a directory of tables, not a backup\n");
    const std::string empty = makeDirectory("empty");
    EXPECT_EQ(show(empty).error, "quorvactl: " + empty + " is not a backup: it contains no log files\n");
    EXPECT_EQ(show(pathOf("none")).error, "quorvactl: cannot read " + pathOf("none") + ": No such file or directory\n");
    EXPECT_EQ(show(empty).status, 1);
    EXPECT_EQ(show(empty).output, "");
}
