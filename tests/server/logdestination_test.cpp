#include "startsupport.h"

#include <filesystem>
#include <fstream>
#include <string>

namespace {

using testing::StartsWith;

} // namespace

TEST(LogDestination, FileIsAppendedTo)
{
    ServerProcess server;
    std::ofstream(server.logPath()) << "kept\n";
    ASSERT_TRUE(server.start());
    EXPECT_THAT(ProcFs::read(server.logPath()), StartsWith("kept\n["));
    EXPECT_EQ(messages(server), plainLines(server.port()));
    server.kill();
    ASSERT_EQ(server.waitForExit(), -SIGKILL);
    const std::string first = ProcFs::read(server.logPath());
    ASSERT_TRUE(server.start());
    EXPECT_THAT(ProcFs::read(server.logPath()), StartsWith(first));
    EXPECT_EQ(messages(server), plainLines(server.port()));
}

TEST(LogDestination, IsStandardErrorWithoutAFile)
{
    ServerProcess::Setup setup;
    setup.logFile = false;
    ServerProcess server(setup);
    ASSERT_TRUE(server.start());
    EXPECT_EQ(withoutTimes(server.logLines()), plainLines(server.port()));
    EXPECT_EQ(server.errorText(), server.logText());
    EXPECT_EQ(server.outputText(), "");
}

TEST(LogDestination, IsStandardErrorWhenTheFileCannotBeOpened)
{
    const TempDir directory;
    for (const std::string& path : {directory.file("missing/server.log"), directory.path(), std::string()}) {
        ServerProcess server;
        ASSERT_TRUE(server.launch({"-p0", "-d", path}));
        ASSERT_TRUE(server.waitForLog("Server listening on ")) << path;
        EXPECT_EQ(messages(server), plainLines(0)) << path;
        EXPECT_NE(server.errorText(), "") << path;
    }
    EXPECT_TRUE(std::filesystem::is_empty(directory.path()));
}

TEST(LogDestination, LastFileOfSeveralIsTaken)
{
    const TempDir directory;
    ServerProcess server;
    ASSERT_TRUE(server.launch({"-p0", "-d", directory.file("first"), "-d", server.logPath()}));
    ASSERT_TRUE(server.waitForLog("Server listening on "));
    EXPECT_EQ(messages(server), plainLines(0));
    EXPECT_FALSE(std::filesystem::exists(directory.file("first")));
}
