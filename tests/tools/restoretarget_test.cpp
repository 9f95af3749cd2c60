#include "restoretargetfixture.h"

#include <memory>

namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::EndsWith;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

} // namespace

TEST_F(RestoreTarget, SettingsThatSomebodyPutThereAreNoLeftover)
{
    fs::create_directory(target());
    std::ofstream(target() + "/DB_CONFIG") << "set_lg_max 20971520\n";
    const auto before = contentsOf(target());
    const ProgramRun run = restore(backup(), target());
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.error, "quorvactl: " + target() + " is not empty\n");
    EXPECT_EQ(contentsOf(target()), before);
}

TEST_F(RestoreTarget, TwoRestoresToOneTargetAreOneTooMany)
{
    Stopped stopped(backup(), target(), pathOf("place"), 3);
    const std::vector<std::string> left = workDirectories();
    ASSERT_THAT(left, SizeIs(1));
    const ProgramRun second = restore(backup(), target());
    EXPECT_EQ(second.status, 1);
    EXPECT_EQ(second.error, "quorvactl: another restore to " + target() + " is running, in " + left.front() + '\n');
    EXPECT_EQ(workDirectories(), left);
    const ProgramRun first = stopped.endBy(SIGCONT);
    EXPECT_EQ(first.status, 0) << first.error;
    expectWhole(target());
}

TEST_F(RestoreTarget, RestoresThatBeginTogetherAreRefusedBeforeTheyCopyAnything)
{
    for (int round = 0; round < 3; ++round) {
        std::vector<std::unique_ptr<RunningProgram>> running;
        for (int i = 0; i < 4; ++i)
            running.push_back(std::make_unique<RunningProgram>(
                QUORVACTL_BINARY, std::vector<std::string>{"restore", backup(), target()}));
        int restored = 0;
        for (const auto& program : running) {
            const ProgramRun run = program->wait();
            restored += run.status == 0 ? 1 : 0;
            if (run.status != 0) {
                EXPECT_THAT(
                    run.error,
                    testing::AnyOf(testing::HasSubstr("another restore to " + target() + " is running"),
                                   EndsWith(target() + " is not empty\n"),
                                   EndsWith(target() + " is open in a server, or in use by another restore\n")));
            }
        }
        EXPECT_LE(restored, 1);
        EXPECT_THAT(workDirectories(), IsEmpty());
        fs::remove_all(target());
    }
}

TEST_F(RestoreTarget, ATargetThatCameIntoBeingMeanwhileIsLeftAlone)
{
    Stopped stopped(backup(), target(), pathOf("place"), 3);
    fs::create_directory(target());
    const ProgramRun run = stopped.endBy(SIGCONT);
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.error, AllOf(StartsWith("quorvactl: cannot rename " + target() + ".restoring-"),
                                 EndsWith(" to " + target() + ": File exists\n")));
    EXPECT_THAT(workDirectories(), IsEmpty());
    EXPECT_THAT(namesIn(target()), IsEmpty());
}

TEST_F(RestoreTarget, ALinkToADirectoryStaysALink)
{
    fs::create_directory(pathOf("elsewhere"));
    fs::create_directory_symlink(pathOf("elsewhere"), target());
    EXPECT_EQ(restore(backup(), target()).status, 0);
    EXPECT_TRUE(fs::is_symlink(target()));
    expectWhole(pathOf("elsewhere"));

    fs::create_directory_symlink(pathOf("nowhere"), pathOf("place/dangling"));
    const ProgramRun run = restore(backup(), pathOf("place/dangling"));
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.error, "quorvactl: cannot create " + pathOf("place/dangling") + ": File exists\n");
}

TEST_F(RestoreTarget, HasTheAccessModeOfANewDirectory)
{
    std::vector<std::string> words = restoreArguments(backup(), target());
    words.insert(words.begin(), {"-c", "umask 027; exec \"$@\"", "sh", QUORVACTL_BINARY});
    const ProgramRun run = runProgram("/bin/sh", words);
    EXPECT_EQ(run.status, 0) << run.error;
    EXPECT_EQ(static_cast<int>(fs::status(target()).permissions()), 0750);
}
