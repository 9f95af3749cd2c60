#include "restoretargetfixture.h"

#include <thread>

namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

} // namespace

TEST_F(RestoreTarget, AnInterruptionRemovesEverything)
{
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        for (const bool existed : {false, true}) {
            SCOPED_TRACE(testing::Message() << signal << existed);
            if (existed)
                fs::create_directory(target());
            Stopped stopped(backup(), target(), pathOf("place"), 3);
            const ProgramRun run = stopped.endBy(signal);
            EXPECT_EQ(run.status, 1);
            EXPECT_EQ(run.output, "");
            EXPECT_EQ(run.error, "quorvactl: restore stopped: interrupted\n");
            EXPECT_EQ(fs::exists(target()), existed);
            EXPECT_THAT(namesIn(target()), IsEmpty());
            EXPECT_THAT(workDirectories(), IsEmpty());
            fs::remove(target());
        }
    }
}

TEST_F(RestoreTarget, AKilledOneLeavesADirectoryThatNoServerOpensAndTheNextOneRemoves)
{
    const std::size_t all = namesIn(backup()).size(); // the guard file takes the place of the list
    for (const std::size_t files : {std::size_t{2}, all / 2, all}) {
        SCOPED_TRACE(files);
        Stopped stopped(backup(), target(), pathOf("place"), files);
        (void)stopped.endBy(SIGKILL);
        ASSERT_FALSE(fs::exists(target()));
        const std::vector<std::string> left = workDirectories();
        ASSERT_THAT(left, SizeIs(1));
        EXPECT_THAT(left.front(), StartsWith(target() + ".restoring-"));
        expectNotOpened(left.front());

        const ProgramRun run = restore(backup(), target());
        EXPECT_EQ(run.status, 0);
        EXPECT_THAT(run.output, HasSubstr("restored 1 table with 30 items to " + target() + '\n'));
        EXPECT_EQ(run.error, "quorvactl: removed " + left.front() + ", left by an interrupted restore\n");
        EXPECT_THAT(workDirectories(), IsEmpty());
        EXPECT_FALSE(fs::exists(target() + "/DB_CONFIG"));
        expectWhole(target());
        fs::remove_all(target());
    }
}

TEST_F(RestoreTarget, AKilledOneIntoADirectoryThatWasThereIsTheSame)
{
    fs::create_directory(target());
    fs::permissions(target(), fs::perms::owner_all);
    Stopped stopped(backup(), target(), target(), 5);
    (void)stopped.endBy(SIGKILL);
    EXPECT_THAT(workDirectories(), IsEmpty()) << "filled in place";
    expectNotOpened(target());

    const ProgramRun run = restore(backup(), target());
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.error, "quorvactl: removed the remains of an interrupted restore from " + target() + '\n');
    EXPECT_EQ(fs::status(target()).permissions(), fs::perms::owner_all);
    EXPECT_FALSE(fs::exists(target() + "/DB_CONFIG"));
    expectWhole(target());
}

TEST_F(RestoreTarget, KillsAtAnyInstantLeaveAllOrNothingToAServer)
{
    int cutOff = 0;
    for (int i = 0; i < 25; ++i) {
        SCOPED_TRACE(i);
        {
            RunningProgram run(QUORVACTL_BINARY, restoreArguments(backup(), target()));
            EXPECT_TRUE(waitUntil([&] { return !workDirectories().empty() || fs::exists(target()); }));
            std::this_thread::sleep_for(std::chrono::milliseconds(i * 4)); // a different instant in each round
            run.signal(SIGKILL);
            (void)run.wait();
        }
        for (const std::string& left : workDirectories()) {
            ++cutOff;
            if (namesIn(left).size() > 1) // before that, it contains nothing of the backup
                expectNotOpenedAtAnyInstant(left);
        }
        if (fs::exists(target() + "/DB_CONFIG"))
            expectNotOpened(target());
        else if (fs::exists(target()))
            expectWhole(target());
        if (fs::exists(target()) && !fs::exists(target() + "/DB_CONFIG"))
            fs::remove_all(target());
    }
    EXPECT_GT(cutOff, 0);
    EXPECT_EQ(restore(backup(), target()).status, 0);
    expectWhole(target());
    EXPECT_THAT(namesIn(pathOf("place")), ElementsAre("restored"));
}

TEST_F(RestoreTarget, CutOffAtItsVeryEndIsRestoredOnceMore)
{
    // Between the renaming of the directory and the removal of the guard file.
    Stopped stopped(backup(), target(), pathOf("place"), 2);
    (void)stopped.endBy(SIGKILL);
    ASSERT_THAT(workDirectories(), SizeIs(1));
    const std::string guard = pathOf("guard");
    fs::copy_file(workDirectories().front() + "/DB_CONFIG", guard);
    ASSERT_EQ(restore(backup(), target()).status, 0);
    fs::copy_file(guard, target() + "/DB_CONFIG");
    expectNotOpened(target());

    const ProgramRun run = restore(backup(), target());
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.error, "quorvactl: removed the remains of an interrupted restore from " + target() + '\n');
    expectWhole(target());
}

TEST_F(RestoreTarget, CutOffAtItsVeryBeginningLeavesNothingForever)
{
    fs::create_directory(target() + ".restoring-aaaaaa");
    fs::create_directory(target() + ".restoring-bbbbbb");
    std::ofstream(target() + ".restoring-bbbbbb/DB_CONFIG").flush();
    fs::create_directory(target() + ".restoring-cccccc"); // contains something else, so it is not ours
    std::ofstream(target() + ".restoring-cccccc/t").flush();
    EXPECT_EQ(restore(backup(), target()).status, 0);
    EXPECT_THAT(namesIn(pathOf("place")), ElementsAre("restored", "restored.restoring-cccccc"));
    EXPECT_THAT(namesIn(target() + ".restoring-cccccc"), ElementsAre("t"));
}
