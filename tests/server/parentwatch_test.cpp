#include "lockholder.h"
#include "startsupport.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::Not;

constexpr const char* Exiting = "[WARN] Quorva exiting";

/** A verbose server whose parent holds the lock of this name. */
ServerProcess::Setup watching(const std::string& name)
{
    ServerProcess::Setup setup;
    setup.arguments = {"-s1"};
    setup.environment["OSTRIK_LOCKFILE"] = name;
    return setup;
}

class ParentWatch : public testing::Test {
protected:
    const TempDir directory_;
    const std::string path_ = directory_.file("parent.lock");
};

/** A server that inherits its lock as one of the standard descriptors. */
class ParentWatchWithInheritedLock : public ParentWatch, public testing::WithParamInterface<int> {};

INSTANTIATE_TEST_SUITE_P(Descriptors, ParentWatchWithInheritedLock,
                         testing::Values(STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO),
                         testing::PrintToStringParamName());

class ParentWatchOfEitherKind : public ParentWatch, public testing::WithParamInterface<LockKind> {};

std::string kindName(const testing::TestParamInfo<LockKind>& info)
{
    return info.param == LockKind::File ? "FileLock" : "RecordLock";
}

INSTANTIATE_TEST_SUITE_P(Kinds, ParentWatchOfEitherKind, testing::Values(LockKind::File, LockKind::Record), kindName);

} // namespace

TEST_F(ParentWatch, FileThatNobodyHoldsEndsTheServerImmediately)
{
    {
        const LockHolder creates(path_, LockKind::File);
    }
    ServerProcess server(watching(path_));
    ASSERT_TRUE(server.launch({"-p0", "-d", server.logPath(), "-s1"}));
    EXPECT_EQ(server.waitForExit(), 0);
    const std::vector<std::string> lines = messages(server);
    EXPECT_THAT(lines, Contains("[INFO] Server listening on 0"));
    EXPECT_THAT(lines, Contains("[DEBUG] waiting for " + path_));
    EXPECT_EQ(lines.back(), Exiting);
    EXPECT_EQ(server.errorText(), "");
}

TEST_P(ParentWatchOfEitherKind, HolderThatLetsGoEndsTheServer)
{
    LockHolder parent(path_, GetParam());
    ServerProcess server(watching(path_));
    ASSERT_TRUE(server.start());
    ASSERT_TRUE(server.waitForLog("waiting for "));
    ASSERT_TRUE(serves(&server));
    ASSERT_TRUE(server.isRunning());
    EXPECT_THAT(messages(server), Not(Contains(Exiting)));
    parent.letGo();
    EXPECT_EQ(server.waitForExit(), 0);
    EXPECT_EQ(messages(server).back(), Exiting);
    EXPECT_EQ(server.errorText(), "");
}

TEST_F(ParentWatch, ParentThatIsKilledEndsTheServer)
{
    LockingProcess parent([this] {
        const int descriptor = open(path_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
        return tryLock(descriptor, LockKind::File);
    });
    ServerProcess server(watching(path_));
    EXPECT_TRUE(server.start());
    EXPECT_TRUE(serves(&server));
    EXPECT_TRUE(server.isRunning());
    parent.kill();
    EXPECT_EQ(server.waitForExit(), 0);
    EXPECT_EQ(messages(server).back(), Exiting);
}

TEST_F(ParentWatch, DescriptorThatTheServerInheritedDoesNotOutliveTheParent)
{
    // Without close-on-exec, as a careless parent might open it: the server inherits the locked descriptor.
    const int parent = open(path_.c_str(), O_RDWR | O_CREAT, 0600);
    ASSERT_TRUE(tryLock(parent, LockKind::File));
    ServerProcess server(watching(path_));
    ASSERT_TRUE(server.start());
    EXPECT_TRUE(serves(&server));
    EXPECT_TRUE(server.isRunning());
    close(parent);
    EXPECT_EQ(server.waitForExit(), 0);
    EXPECT_EQ(messages(server).back(), Exiting);
}

TEST_P(ParentWatchWithInheritedLock, GivesItsPlaceToDevNullAndDoesNotOutliveTheParent)
{
    const int parent = open(path_.c_str(), O_RDWR | O_CREAT, 0600);
    ASSERT_TRUE(tryLock(parent, LockKind::File));
    ASSERT_TRUE(tryLock(parent, LockKind::Record));
    ServerProcess::Setup setup = watching(path_);
    setup.wrapper = onDescriptor(GetParam(), parent);
    ServerProcess server(setup);
    ASSERT_TRUE(server.start());
    EXPECT_TRUE(serves(&server));
    EXPECT_TRUE(server.isRunning());
    EXPECT_EQ(ProcFs::descriptors(server.pid())[GetParam()], "/dev/null");
    close(parent);
    EXPECT_EQ(server.waitForExit(), 0);
    EXPECT_EQ(messages(server).back(), Exiting);
}

TEST_F(ParentWatch, MissingFileIsLoggedAndTheServerContinues)
{
    ServerProcess server(watching(path_));
    ASSERT_TRUE(server.start());
    ASSERT_TRUE(server.waitForLog("CreateMutex failed with error "));
    EXPECT_THAT(messages(server), Contains("[DEBUG] waiting for " + path_));
    EXPECT_THAT(messages(server), Contains("[ERROR] bdbserver 144 CreateMutex failed with error 2"));
    EXPECT_TRUE(serves(&server));
    EXPECT_NE(access(path_.c_str(), F_OK), 0) << "the watch creates no file";
}

TEST_F(ParentWatch, UnsetOrEmptyNameIsLoggedAndTheServerContinues)
{
    ServerProcess::Setup unset = watching("");
    unset.environment.erase("OSTRIK_LOCKFILE");
    unset.unset = {"OSTRIK_LOCKFILE"};
    for (const ServerProcess::Setup& setup : {unset, watching("")}) {
        ServerProcess server(setup);
        ASSERT_TRUE(server.start());
        ASSERT_TRUE(server.waitForLog("CreateMutex failed with error "));
        EXPECT_THAT(messages(server), Contains("[DEBUG] waiting for "));
        EXPECT_THAT(messages(server), Contains("[ERROR] bdbserver 144 CreateMutex failed with error 2"));
        EXPECT_TRUE(serves(&server));
    }
}

TEST_F(ParentWatch, NameWithoutASlashIsInsideTheTemporaryDirectory)
{
    LockHolder parent(path_, LockKind::File);
    ServerProcess::Setup setup = watching("parent.lock");
    setup.environment["TMPDIR"] = directory_.path();
    ServerProcess server(setup);
    ASSERT_TRUE(server.start());
    ASSERT_TRUE(server.waitForLog("waiting for parent.lock\n"));
    EXPECT_TRUE(serves(&server));
    parent.die();
    EXPECT_EQ(server.waitForExit(), 0);
    EXPECT_EQ(messages(server).back(), Exiting);
}

TEST_F(ParentWatch, ServerEndsInTheMiddleOfItsWork)
{
    LockHolder parent(path_, LockKind::File);
    ServerProcess server(watching(path_));
    ASSERT_TRUE(server.start());

    constexpr int Clients = 4;
    std::atomic<int> busy = 0;
    std::vector<std::thread> clients;
    for (int client = 0; client < Clients; ++client) {
        clients.emplace_back([&, connection = server.connect()]() mutable {
            QByteArray reply;
            for (int exchanges = 0; connection.exchange("Unknown.Operation", "{}", &reply); ++exchanges) {
                if (exchanges == 10)
                    ++busy;
            }
        });
    }
    EXPECT_TRUE(waitUntil([&] { return busy == Clients; }));
    parent.die();
    EXPECT_EQ(server.waitForExit(), 0);
    for (std::thread& client : clients)
        client.join();
    EXPECT_THAT(server.logText(), HasSubstr(Exiting));
    EXPECT_EQ(server.errorText(), "");
}
