#include "lockholder.h"
#include "startsupport.h"

#include <filesystem>
#include <string>

namespace {

/** A server that must be the only one with this lock. */
ServerProcess::Setup lockedBy(const std::string& name)
{
    ServerProcess::Setup setup;
    setup.environment["QUORVA_LOCKFILE"] = name;
    return setup;
}

/** Waits until the launched server waits for the lock file at `path`: it has the file open and keeps going to sleep. */
bool waitsFor(const std::string& path, const ServerProcess& server)
{
    const bool opened = waitUntil([&] {
        for (const auto& [descriptor, target] : ProcFs::descriptors(server.pid())) {
            if (target == path)
                return true;
        }
        return false;
    });
    const long before = ProcFs::sleeps(server.pid());
    return opened && waitUntil([&] { return ProcFs::sleeps(server.pid()) >= before + 5; });
}

class InstanceLock : public testing::Test {
protected:
    const TempDir directory_;
    const std::string path_ = directory_.file("instance.lock");
};

/** A server that waits for the lock of another process, which has written the process id 1 into the file. */
class InstanceLockOfEitherKind : public InstanceLock, public testing::WithParamInterface<LockKind> {
protected:
    void SetUp() override
    {
        holder_.write("1");
        ASSERT_TRUE(server_.launch({"-p0", "-d", server_.logPath()}));
        ASSERT_TRUE(waitsFor(path_, server_));
    }

    LockHolder holder_{path_, GetParam()};
    ServerProcess server_{lockedBy(path_)};
};

std::string kindName(const testing::TestParamInfo<LockKind>& info)
{
    return info.param == LockKind::File ? "FileLock" : "RecordLock";
}

INSTANTIATE_TEST_SUITE_P(Kinds, InstanceLockOfEitherKind, testing::Values(LockKind::File, LockKind::Record), kindName);

} // namespace

TEST_F(InstanceLock, ServerHoldsTheFileInBothWaysAndWritesItsId)
{
    ServerProcess server(lockedBy(path_));
    ASSERT_TRUE(server.start());
    EXPECT_EQ(ProcFs::read(path_), std::to_string(server.pid()));
    EXPECT_TRUE(isHeld(path_, LockKind::File));
    EXPECT_TRUE(isHeld(path_, LockKind::Record));
    ASSERT_TRUE(serves(&server));
    server.kill();
    ASSERT_EQ(server.waitForExit(), -SIGKILL);
    EXPECT_TRUE(isFree(path_));
    EXPECT_EQ(ProcFs::read(path_), std::to_string(server.pid())) << "no server ends in good order";
}

TEST_F(InstanceLock, FileThatNobodyHoldsIsTakenWhateverItHolds)
{
    ServerProcess server(lockedBy(path_));
    for (int round = 0; round < 2; ++round) {
        ASSERT_TRUE(server.start()) << "after a server that died, at once";
        EXPECT_EQ(ProcFs::read(path_), std::to_string(server.pid()));
        server.kill();
        ASSERT_EQ(server.waitForExit(), -SIGKILL);
    }
}

TEST_F(InstanceLock, FileThatIsInheritedAsStandardInputDoesNotKeepTheServerOut)
{
    const int holder = open(path_.c_str(), O_RDWR | O_CREAT, 0600);
    ASSERT_TRUE(tryLock(holder, LockKind::File));
    ServerProcess::Setup setup = lockedBy(path_);
    setup.wrapper = onDescriptor(STDIN_FILENO, holder);
    ServerProcess server(setup);
    ASSERT_TRUE(server.launch({"-p0", "-d", server.logPath()}));
    ASSERT_TRUE(waitsFor(path_, server)) << server.logText();
    close(holder);
    EXPECT_NE(waitUntilListening(&server), 0) << "its own standard input would hold the lock";
    EXPECT_EQ(ProcFs::read(path_), std::to_string(server.pid()));
}

TEST_F(InstanceLock, NameWithoutASlashIsInsideTheTemporaryDirectory)
{
    ServerProcess::Setup setup = lockedBy("instance.lock");
    setup.environment["TMPDIR"] = directory_.path();
    ServerProcess server(setup);
    ASSERT_TRUE(server.start());
    EXPECT_EQ(ProcFs::read(path_), std::to_string(server.pid()));
}

TEST_F(InstanceLock, UnsetOrEmptyNameKeepsNobodyOut)
{
    ServerProcess::Setup unset;
    unset.environment["TMPDIR"] = directory_.path();
    ServerProcess::Setup empty = unset;
    empty.environment["QUORVA_LOCKFILE"] = "";
    ServerProcess first(unset), second(unset), third(empty), fourth(empty);
    for (ServerProcess* server : {&first, &second, &third, &fourth})
        ASSERT_TRUE(server->start());
    for (ServerProcess* server : {&first, &second, &third, &fourth})
        EXPECT_TRUE(serves(server));
    EXPECT_TRUE(std::filesystem::is_empty(directory_.path())) << "no name, no file";
}

TEST_F(InstanceLock, DifferentNamesKeepNobodyOut)
{
    ServerProcess first(lockedBy(path_)), second(lockedBy(path_ + "2"));
    ASSERT_TRUE(first.start());
    ASSERT_TRUE(second.start());
    EXPECT_TRUE(serves(&first));
    EXPECT_TRUE(serves(&second));
}

TEST_F(InstanceLock, FileThatCannotBeCreatedShowsInTheExitStatusOnly)
{
    ServerProcess server(lockedBy(directory_.file("missing/instance.lock")));
    ASSERT_TRUE(server.launch({"-p0", "-d", server.logPath()}));
    EXPECT_EQ(server.waitForExit(), 255);
    EXPECT_FALSE(std::filesystem::exists(server.logPath()));
    EXPECT_EQ(server.errorText(), "") << "there is no log yet";
    EXPECT_TRUE(std::filesystem::is_empty(directory_.path()));
}

TEST_F(InstanceLock, ServerThatWaitedForAServerThatDiedGivesUp)
{
    ServerProcess first(lockedBy(path_));
    ASSERT_TRUE(first.start());
    ServerProcess second(lockedBy(path_));
    ASSERT_TRUE(second.launch({"-p0", "-d", second.logPath()}));
    ASSERT_TRUE(waitsFor(path_, second));
    first.kill();
    ASSERT_EQ(first.waitForExit(), -SIGKILL);
    EXPECT_EQ(second.waitForExit(), 255);
    EXPECT_FALSE(std::filesystem::exists(second.logPath()));
    EXPECT_EQ(second.errorText(), "");
    EXPECT_EQ(ProcFs::read(path_), std::to_string(first.pid()));
    ServerProcess third(lockedBy(path_));
    EXPECT_TRUE(third.start()) << "one that need not wait is not concerned";
}

TEST_P(InstanceLockOfEitherKind, HolderThatLeavesItsIdWasAbandoned)
{
    holder_.die();
    EXPECT_EQ(server_.waitForExit(), 255);
    EXPECT_FALSE(std::filesystem::exists(server_.logPath()));
    EXPECT_EQ(ProcFs::read(path_), "1");
}

TEST_P(InstanceLockOfEitherKind, HolderThatEmptiesTheFileHandsItOver)
{
    EXPECT_FALSE(std::filesystem::exists(server_.logPath())) << "no option is read before the lock is held";
    holder_.letGo();
    ASSERT_TRUE(server_.waitForLog("Server listening on ")) << server_.logText();
    EXPECT_EQ(ProcFs::read(path_), std::to_string(server_.pid()));
    EXPECT_TRUE(isHeld(path_, LockKind::File));
    EXPECT_TRUE(isHeld(path_, LockKind::Record));
}

TEST_F(InstanceLock, DescriptorThatTheParentLeftOpenDoesNotKeepTheServerOut)
{
    // The parent once held the lock itself, and let its children inherit the descriptor.
    ServerProcess::Setup setup = lockedBy(path_);
    setup.wrapper = {"/bin/sh", "-c", "exec 9>\"$QUORVA_LOCKFILE\"; flock -x 9; exec \"$@\"", "sh"};
    ServerProcess server(setup);
    ASSERT_TRUE(server.start());
    EXPECT_EQ(ProcFs::read(path_), std::to_string(server.pid()));
}
