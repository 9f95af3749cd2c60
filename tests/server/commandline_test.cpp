#include "protocol/endpoint.h"
#include "startsupport.h"

#include <QThread>

#include <filesystem>
#include <string>
#include <vector>

namespace {

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;

/** A server with these options in addition to the port and the log file. */
ServerProcess::Setup with(std::vector<std::string> arguments)
{
    ServerProcess::Setup setup;
    setup.arguments = std::move(arguments);
    return setup;
}

/** The log of a server that refuses to start with these arguments. */
std::vector<std::string> refusal(std::vector<std::string> arguments)
{
    ServerProcess server;
    arguments.insert(arguments.begin(), {"-p0", "-d", server.logPath()});
    if (!server.launch(arguments))
        return {};
    EXPECT_EQ(server.waitForExit(), 255);
    EXPECT_EQ(server.errorText(), "");
    return messages(server);
}

} // namespace

TEST(CommandLine, HelpAloneIsPrinted)
{
    ServerProcess server;
    ASSERT_TRUE(server.launch({"--help"}));
    EXPECT_EQ(server.waitForExit(), 0);
    EXPECT_THAT(server.outputText(), StartsWith("Usage: quorva "));
    for (const char* option : {"-p", "-d", "-s", "-w", "-m", "-n", "--help", "--version", "QUORVA_LOCKFILE",
                               "OSTRIK_LOCKFILE", "QUORVA_ALLOW_USERS", "QUORVA_SLOW_MS"})
        EXPECT_THAT(server.outputText(), HasSubstr(option));
    EXPECT_EQ(server.errorText(), "");
}

TEST(CommandLine, VersionAloneIsPrinted)
{
    ServerProcess server;
    ASSERT_TRUE(server.launch({"--version"}));
    EXPECT_EQ(server.waitForExit(), 0);
    EXPECT_THAT(server.outputText(), MatchesRegex("quorva [0-9]+\\.[0-9]+\\.[0-9]+\n"));
    EXPECT_EQ(server.errorText(), "");
}

TEST(CommandLine, HelpWithOtherArgumentsIsAClusterOfOptions)
{
    // "-", "h", "e" and "l" are unknown; "p" takes the next word.
    ServerProcess server;
    ASSERT_TRUE(server.launch({"--help", "0", "-d", server.logPath()}));
    ASSERT_TRUE(server.waitForLog("Server listening on "));
    EXPECT_EQ(messages(server), plainLines(0));
    EXPECT_EQ(server.outputText(), "");
}

TEST(CommandLine, PlainStartLogsSizesAndPortOnly)
{
    ServerProcess server;
    ASSERT_TRUE(server.start());
    EXPECT_EQ(messages(server), plainLines(server.port()));
    EXPECT_TRUE(serves(&server));
    EXPECT_EQ(server.outputText(), "");
    EXPECT_EQ(server.errorText(), "");
}

TEST(CommandLine, PortIs4567ByDefault)
{
    // Whether or not the port is in use on this machine, the log shows that the server tried to use it.
    ServerProcess server;
    ASSERT_TRUE(server.launch({"-d", server.logPath()}));
    ASSERT_TRUE(server.waitForLog("4567"));
    EXPECT_THAT(messages(server).back(),
                testing::AnyOf(listeningLine(4567), "[CRIT] bdbserver 258 listen failed at port 4567 rc -1"));
    server.kill();
}

TEST(CommandLine, PortZeroIsChosenByTheSystemAndReportedAsZero)
{
    for (const char* argument : {"0", "none"}) { // text that is not a number counts as 0
        ServerProcess server;
        ASSERT_TRUE(server.launch({"-p", argument, "-d", server.logPath()}));
        ASSERT_TRUE(server.waitForLog("Server listening on "));
        EXPECT_EQ(messages(server), plainLines(0));
        const int port = ProcFs::listeningPort(server.pid());
        ASSERT_NE(port, 0);
        Client::WireConnection connection;
        EXPECT_TRUE(connection.open(Endpoint::Host, port)) << connection.error().toStdString();
    }
}

TEST(CommandLine, WorkersLeaveThePoolAtItsDefault)
{
    ServerProcess server(with({"-w", "3"}));
    ASSERT_TRUE(server.start());
    EXPECT_EQ(messages(server), plainLines(server.port(), 3));
    EXPECT_TRUE(serves(&server));
}

TEST(CommandLine, PoolLeavesTheWorkersAtTheirDefault)
{
    ServerProcess server(with({"-m1"}));
    ASSERT_TRUE(server.start());
    EXPECT_EQ(messages(server), plainLines(server.port(), 4 * QThread::idealThreadCount(), 1));
    EXPECT_TRUE(serves(&server));
}

TEST(CommandLine, WorkersBelowOneAreRefused)
{
    for (const std::string number : {"0", "-1", "-2147483648", "many"}) {
        const std::string shown = number == "many" ? "0" : number;
        EXPECT_THAT(refusal({"-w", number}),
                    ElementsAre(MatchesRegex("\\[CRIT\\] bdbserver [0-9]+ invalid worker count " + shown)));
    }
}

TEST(CommandLine, PoolBelowOneIsRefused)
{
    for (const std::string number : {"0", "-7", "many"}) {
        const std::string shown = number == "many" ? "0" : number;
        EXPECT_THAT(refusal({"-m" + number}),
                    ElementsAre(MatchesRegex("\\[CRIT\\] bdbserver [0-9]+ invalid pool size " + shown)));
    }
}

TEST(CommandLine, WorkersAreLookedAtBeforeThePool)
{
    EXPECT_THAT(refusal({"-m0", "-w0"}), ElementsAre(HasSubstr("invalid worker count 0")));
}

TEST(CommandLine, VerbosityOfOneOrMoreTurnsDebugLinesOn)
{
    for (const char* level : {"1", "5", "24", "2147483647"}) {
        ServerProcess server(with({"-s", level}));
        ASSERT_TRUE(server.start()) << level;
        ASSERT_TRUE(server.waitForLog("waiting for ")) << level;
        const std::vector<std::string> lines = messages(server);
        EXPECT_EQ(lines.front(), "[DEBUG] Configurations loaded") << level;
        EXPECT_THAT(lines, Contains(sizesLine(4 * QThread::idealThreadCount(), 40 * QThread::idealThreadCount())));
        EXPECT_THAT(lines, Contains(listeningLine(server.port())));
        EXPECT_EQ(lines.back(), "[DEBUG] waiting for " + server.parentLockPath()) << level;
        EXPECT_THAT(server.logText(), Not(HasSubstr("locking ")))
            << "the log does not exist yet when the lock is taken";
    }
}

TEST(CommandLine, VerbosityBelowOneKeepsDebugLinesOff)
{
    for (const char* level : {"0", "-1", "-5", "loud"}) {
        ServerProcess server(with({"-s", level}));
        ASSERT_TRUE(server.start()) << level;
        EXPECT_EQ(messages(server), plainLines(server.port())) << level;
        EXPECT_TRUE(serves(&server));
    }
}

TEST(CommandLine, OptionsMayBeClustered)
{
    ServerProcess server(with({"-ns1", "-nw3", "-m9"}));
    ASSERT_TRUE(server.start());
    EXPECT_THAT(messages(server), AllOf(Contains("[DEBUG] Configurations loaded"), Contains(sizesLine(3, 9))));
    EXPECT_TRUE(serves(&server));
}

TEST(CommandLine, UnknownOptionsAreIgnored)
{
    ServerProcess server(with({"-x", "-xyz", "-qw3"}));
    ASSERT_TRUE(server.start());
    EXPECT_EQ(messages(server), plainLines(server.port(), 3));
}

TEST(CommandLine, TrailingOptionWithoutItsArgumentIsIgnored)
{
    for (const char* option : {"-p", "-d", "-s", "-w", "-m"}) {
        ServerProcess server(with({option}));
        ASSERT_TRUE(server.start()) << option;
        EXPECT_EQ(messages(server), plainLines(server.port())) << option;
    }
}

TEST(CommandLine, EverythingAfterTheFirstOtherWordIsIgnored)
{
    for (const char* word : {"word", "-", ""}) {
        ServerProcess server(with({word, "-w", "3", "-s1"}));
        ASSERT_TRUE(server.start()) << word;
        EXPECT_EQ(messages(server), plainLines(server.port())) << word;
    }
}

TEST(CommandLine, ColonNeverLeavesTheOptions)
{
    for (const char* cluster : {"-:", "-n:"}) {
        ServerProcess::Setup setup;
        const TempDir directory;
        const std::string lock = directory.file("lock");
        setup.environment["QUORVA_LOCKFILE"] = lock;
        ServerProcess server(setup);
        ASSERT_TRUE(server.launch({"-p0", "-d", server.logPath(), cluster}));
        // Once it has the lock, it reads the options. From there it takes a few milliseconds of CPU time until it opens
        // its log; a hundred times as much shows that it is in an endless loop.
        ASSERT_TRUE(waitUntil([&] { return ProcFs::read(lock) == std::to_string(server.pid()); })) << cluster;
        const long before = ProcFs::processorTime(server.pid());
        EXPECT_TRUE(waitUntil([&] { return ProcFs::processorTime(server.pid()) >= before + 30; })) << cluster;
        EXPECT_TRUE(server.isRunning()) << cluster;
        EXPECT_FALSE(std::filesystem::exists(server.logPath())) << cluster;
        EXPECT_EQ(ProcFs::listeningPort(server.pid()), 0) << cluster;
        server.kill();
    }
}
