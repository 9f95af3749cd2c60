#include "nightlyfixture.h"

#include "support/helddisk.h"

#include <fcntl.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

/** Runs that do not finish: existing copies stay, and the next run works. */
class NightlyFailures : private HeldDisk, public NightlyTest {
protected:
    NightlyFailures() : NightlyTest(HeldDisk::environment(QUORVA_HELDDISK_LIBRARY)) {}

    void SetUp() override
    {
        SKIP_WITHOUT_PRELOADED_LIBRARIES();
        NightlyTest::SetUp();
        older_ = oneNight({"--keep", "1"});
    }

    HeldDisk& disk() { return *this; }

    void expectOlderIsThere() const
    {
        EXPECT_TRUE(fs::exists(listIn(series() + '/' + older_)));
        EXPECT_TRUE(fs::exists(series() + '/' + older_ + ".verified"));
    }

    /** The next run makes a copy, and removes the older one and what was left. */
    void expectNextRunWorks()
    {
        const ProgramRun run = nightly({"--keep", "1"});
        EXPECT_EQ(run.status, 0) << run.error;
        EXPECT_THAT(namesIn(series()), SizeIs(2)) << "a copy, and the note that it is verified";
        EXPECT_EQ(restore(series(), target()).status, 0);
    }

    std::string older_;
};

} // namespace

TEST_F(NightlyFailures, AServerThatIsDownLeavesEverythingAsItIs)
{
    killServer();
    const auto before = namesIn(series());
    const ProgramRun run = nightly({"--keep", "1"});
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.output, "");
    EXPECT_THAT(run.error, HasSubstr("quorvactl: no reply from 127.0.0.1:"));
    EXPECT_EQ(namesIn(series()), before);
    ASSERT_TRUE(server_.start());
    expectNextRunWorks();
}

TEST_F(NightlyFailures, ASecondRunAtTheSameTimeIsRefused)
{
    const int other = open(to().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    ASSERT_EQ(flock(other, LOCK_EX), 0);
    const auto before = namesIn(series());
    const ProgramRun run = nightly({"--keep", "1"});
    close(other);
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(run.error, "quorvactl: another nightly backup to " + to() + " is running\n");
    EXPECT_EQ(namesIn(series()), before);
    expectNextRunWorks();
}

TEST_F(NightlyFailures, AFullDiskRemovesTheCopyAndShippingToTheOlderOneContinues)
{
    const std::string copy = nextCopy();
    disk().fill(copy);
    const ProgramRun run = nightly({"--keep", "1"});
    disk().makeRoom();
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.output, "");
    EXPECT_THAT(run.error,
                testing::EndsWith("quorvactl: the copy to " + copy +
                                  " failed; the server's log has the reason\n  try: its line "
                                  "\"Dbenv backup failed rc\", where 28 is a full disk; then make the backup again\n"));
    EXPECT_THAT(takeComplaints(), testing::Contains(HasSubstr("Dbenv backup failed rc 28")));
    EXPECT_FALSE(fs::exists(copy));
    expectOlderIsThere();
    EXPECT_EQ(shippedTo(), series() + '/' + older_);
    expectNextRunWorks();
}

TEST_F(NightlyFailures, WhereNoCopyIsMadeNoDirectoriesAreLeft)
{
    const ProgramRun run = quorvactl({"backup", "nightly", pathOf("none"), "--to", pathOf("new/deep")});
    EXPECT_EQ(run.status, 1);
    EXPECT_FALSE(fs::exists(pathOf("new")));
}

TEST_F(NightlyFailures, CopiesInsideWhatIsCopiedAreRefused)
{
    const auto error = [this](const std::string& directory, const std::string& to) {
        const ProgramRun run = quorvactl({"backup", "nightly", directory, "--to", to});
        EXPECT_EQ(run.status, 64);
        return run.error;
    };
    for (const std::string& inside : {home(), home() + "/new/deep"}) {
        EXPECT_EQ(error(home(), inside), "quorvactl: the copies cannot be in " + inside + ", as " + home() +
                                             " is to be copied: name a directory outside it with --to\n");
    }
    EXPECT_FALSE(fs::exists(home() + "/new"));
    EXPECT_EQ(error(home(), fs::path(home()).parent_path().string()),
              "quorvactl: the copies would be in " + home() +
                  ", which is to be copied: name another directory with --to\n");
}

TEST_F(NightlyFailures, WhatCannotBeVerifiedReplacesNothing)
{
    // A limit on the size of files stands in for a full disk.
    std::vector<std::string> arguments{"-c", "trap '' XFSZ; ulimit -f 1; exec \"$0\" \"$@\"", QUORVACTL_BINARY};
    for (const std::string& argument : addressed(nightlyArguments({"--keep", "1"})))
        arguments.push_back(argument);
    const ProgramRun run = runProgram("/bin/bash", arguments);
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.output, "");
    EXPECT_THAT(run.error, AllOf(HasSubstr(" is not verified: cannot copy "), HasSubstr(": File too large\n"),
                                 HasSubstr("\n  no older copy has been removed\n")));
    EXPECT_THAT(copies(), SizeIs(2));
    expectOlderIsThere();
    EXPECT_FALSE(fs::exists(series() + "/verifying"));
    expectNextRunWorks();
}

TEST_F(NightlyFailures, OneDirectoryThatFailsDoesNotKeepTheOthersFromBeingCopied)
{
    const std::string other = makeDirectory("other");
    createTable(tableIn(other));
    const ProgramRun run = quorvactl({"backup", "nightly", pathOf("none"), home(), other, "--to", to(), "--keep", "1"});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.output, AllOf(HasSubstr(home() + ": copied to "), HasSubstr(other + ": copied to ")));
    EXPECT_THAT(run.error, HasSubstr("quorvactl: cannot back up " + pathOf("none") + ": there is no directory "));
    EXPECT_THAT(namesIn(to()), ElementsAre("env", "other"));
    EXPECT_THAT(namesIn(to() + "/other"), SizeIs(2));
}

TEST_F(NightlyFailures, InterruptedOrKilledItLeavesNothingThatPassesForACopy)
{
    for (const int signal : {SIGINT, SIGKILL}) {
        SCOPED_TRACE(signal);
        const std::string before = older_;
        const std::string copy = nextCopy();
        disk().hold(copy); // the copy waits before its log files are on disk
        RunningProgram run(QUORVACTL_BINARY, addressed(nightlyArguments({"--keep", "1"})));
        ASSERT_TRUE(disk().holds());
        run.signal(signal);
        const ProgramRun ended = run.wait();
        EXPECT_EQ(ended.output, "");
        if (signal == SIGINT) {
            EXPECT_EQ(ended.status, 1);
            EXPECT_THAT(ended.error, testing::EndsWith("quorvactl: interrupted; the server continues copying to " +
                                                       copy + "\nquorvactl: interrupted\n"));
        }
        expectOlderIsThere();
        const ProgramRun next = nightly({"--keep", "1"});
        EXPECT_EQ(next.status, 1);
        EXPECT_EQ(next.error, "quorvactl: cannot back up " + home() + ": the server is still copying it to " + copy +
                                  "\n  try: again once that copy is complete\n");
        disk().release();
        EXPECT_TRUE(waitUntil([&] { return backupState() == "shipping"; }));
        const ProgramRun later = nightly({"--keep", "1"});
        EXPECT_EQ(later.status, 0) << later.error;
        older_ = copies().back();
        EXPECT_THAT(copies(), SizeIs(1)) << "that copy was never verified";
        stopBackup();
        fs::remove_all(series());
        older_ = oneNight();
    }
}

TEST_F(NightlyFailures, WhatARunLeftThatWasKilledLaterIsRemoved)
{
    fs::copy(series() + '/' + older_, series() + "/removing-2020-01-01T000000Z");
    fs::create_directory(series() + "/verifying");
    std::ofstream(series() + "/verifying/t").flush();
    fs::create_directory(series() + "/somebody's");
    EXPECT_EQ(nightly().status, 0);
    EXPECT_THAT(copies(), SizeIs(2));
    EXPECT_THAT(namesIn(series()), SizeIs(5)) << "with two notes and what is not ours";
    EXPECT_TRUE(fs::exists(series() + "/somebody's"));
}

TEST_F(NightlyFailures, CopiesOfAnotherDirectoryAreLeftAlone)
{
    const std::string other = makeDirectory("elsewhere/env");
    createTable(tableIn(other));
    const auto before = namesIn(series());
    const ProgramRun run = quorvactl({"backup", "nightly", other, "--to", to()});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.error, "quorvactl: cannot back up " + other + ": " + series() + " contains copies of " + home() +
                             "\n  try: another directory for --to, or rename " + series() + '\n');
    EXPECT_EQ(namesIn(series()), before);

    const ProgramRun twice = quorvactl({"backup", "nightly", other, home(), "--to", to()});
    EXPECT_EQ(twice.status, 64);
    EXPECT_EQ(twice.error, "quorvactl: two directories have the name env; back them up to different directories, one "
                           "after the other\n");
}

TEST_F(NightlyFailures, ABackupToElsewhereIsReplacedOnRequestOnly)
{
    stopBackup();
    backUpTo(makeDirectory("mine"));
    const ProgramRun run = nightly();
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.error, "quorvactl: cannot back up " + home() + ": it is being backed up to " + pathOf("mine") +
                             ", and that backup would be stopped\n  try: --replace, if " + pathOf("mine") +
                             " no longer needs to be kept up to date\n");
    EXPECT_THAT(copies(), SizeIs(1));
    EXPECT_EQ(shippedTo(), pathOf("mine"));
    EXPECT_EQ(nightly({"--replace"}).status, 0);
    EXPECT_THAT(copies(), SizeIs(2));
}
