#include "protocol/endpoint.h"
#include "startsupport.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <map>
#include <sstream>
#include <string>

namespace {

using testing::ElementsAre;
using testing::MatchesRegex;

/** A server started through the shell command `prepare`, which ends by running "$@". */
ServerProcess::Setup preparedBy(const std::string& prepare)
{
    ServerProcess::Setup setup;
    setup.wrapper = {"/bin/sh", "-c", prepare, "sh"};
    return setup;
}

/** One exchange with the server at `port` that touches no storage. */
bool answersAt(int port)
{
    Client::WireConnection connection;
    connection.setReceiveTimeout(static_cast<int>(ServerProcess::Deadline.count()));
    QByteArray reply;
    return connection.open(Endpoint::Host, port) && connection.exchange("Unknown.Operation", "{}", &reply) &&
           reply.contains("InternalServerError");
}

/** Appends what is currently in the pipe to `text`. */
void drain(int pipe, std::string* text)
{
    std::array<char, 4096> piece;
    for (ssize_t n = 0; (n = read(pipe, piece.data(), piece.size())) > 0;)
        text->append(piece.data(), static_cast<std::size_t>(n));
}

} // namespace

TEST(ServerStart, PortInUseIsReportedAndEndsIt)
{
    ServerProcess first;
    ASSERT_TRUE(first.start());
    ServerProcess second;
    ASSERT_TRUE(second.launch({"-p", std::to_string(first.port()), "-w2", "-m3", "-d", second.logPath()}));
    EXPECT_EQ(second.waitForExit(), 255);
    EXPECT_THAT(messages(second),
                ElementsAre("[INFO] Workers count 2 db-pool max-thread-count 3",
                            MatchesRegex("\\[ERROR\\] bdbsocket 42 bind failed sock [0-9]+ error 98"),
                            "[CRIT] bdbserver 258 listen failed at port " + std::to_string(first.port()) + " rc -1"));
    EXPECT_EQ(second.errorText(), "");
    EXPECT_TRUE(serves(&first));
}

TEST(ServerStart, ListensOnTheLoopbackAddressOnly)
{
    ServerProcess server;
    ASSERT_TRUE(server.start());
    std::istringstream table(ProcFs::read("/proc/net/tcp"));
    std::ostringstream expected;
    expected << "0100007F:" << std::hex << std::uppercase << server.port();
    bool found = false;
    for (std::string line; std::getline(table, line);) {
        std::istringstream fields(line);
        std::string number, local, remote, state;
        fields >> number >> local >> remote >> state;
        if (state == "0A" && local.ends_with(expected.str().substr(8)))
            found = found || local == expected.str();
    }
    EXPECT_TRUE(found);
}

TEST(ServerStart, PortIsFreeForASuccessorImmediately)
{
    ServerProcess server;
    ASSERT_TRUE(server.start());
    ASSERT_TRUE(serves(&server)); // a connection whose server side lingers after the server's death
    const int port = server.port();
    server.kill();
    ASSERT_EQ(server.waitForExit(), -SIGKILL);
    ServerProcess successor;
    ASSERT_TRUE(successor.launch({"-p", std::to_string(port), "-d", successor.logPath()}));
    EXPECT_TRUE(successor.waitForLog("Server listening on " + std::to_string(port))) << successor.logText();
}

TEST(ServerStart, RaisesItsDescriptorLimitToTheHardOne)
{
    ServerProcess server(preparedBy("ulimit -S -n 40; exec \"$@\""));
    ASSERT_TRUE(server.start());
    std::istringstream limits(ProcFs::read("/proc/" + std::to_string(server.pid()) + "/limits"));
    std::string soft, hard;
    for (std::string line; std::getline(limits, line);) {
        if (line.starts_with("Max open files"))
            std::istringstream(line.substr(std::string("Max open files").size())) >> soft >> hard;
    }
    EXPECT_NE(hard, "");
    EXPECT_EQ(soft, hard);
    EXPECT_NE(soft, "40");
}

TEST(ServerStart, ClosedStandardDescriptorsBecomeDevNull)
{
    ServerProcess server(preparedBy("exec \"$@\" <&- >&- 2>&-"));
    ASSERT_TRUE(server.start());
    std::map<int, std::string> open = ProcFs::descriptors(server.pid());
    EXPECT_EQ(open[0], "/dev/null");
    EXPECT_EQ(open[1], "/dev/null");
    EXPECT_EQ(open[2], "/dev/null");
    EXPECT_TRUE(serves(&server));
}

TEST(ServerStart, OpenStandardDescriptorsStay)
{
    ServerProcess server;
    ASSERT_TRUE(server.start());
    std::map<int, std::string> open = ProcFs::descriptors(server.pid());
    EXPECT_EQ(open[1], server.directory() + "/stdout");
    EXPECT_EQ(open[2], server.directory() + "/stderr");
}

TEST(ServerStart, ItsOwnDescriptorsAreClosedInPrograms)
{
    const TempDir directory;
    ServerProcess::Setup setup;
    setup.environment["QUORVA_LOCKFILE"] = directory.file("instance.lock");
    ServerProcess server(setup);
    ASSERT_TRUE(server.start());
    ASSERT_TRUE(serves(&server));
    bool sawLog = false;
    const std::map<int, std::string> ours = ProcFs::descriptors(getpid());
    for (const auto& [descriptor, target] : ProcFs::descriptors(server.pid())) {
        const auto inherited = ours.find(descriptor);
        if (descriptor <= STDERR_FILENO || (inherited != ours.end() && inherited->second == target))
            continue; // inherited from whoever started this test, and so by the server as well
        const int flags = ProcFs::descriptorFlags(server.pid(), descriptor);
        EXPECT_TRUE(flags & O_CLOEXEC) << target;
        if (target == server.logPath()) {
            sawLog = true;
            EXPECT_TRUE(flags & O_APPEND);
            EXPECT_EQ(flags & O_ACCMODE, O_WRONLY);
        }
    }
    EXPECT_TRUE(sawLog);
}

TEST(ServerLog, ReaderThatDiesDoesNotEndTheServer)
{
    const TempDir directory;
    const std::string path = directory.file("pipe");
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    const int reader = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    ASSERT_GE(reader, 0);
    ServerProcess server;
    ASSERT_TRUE(server.launch({"-p0", "-d", path}));
    std::string text;
    ASSERT_TRUE(waitUntil([&] {
        drain(reader, &text);
        return text.find("Server listening on ") != std::string::npos;
    })) << text;
    close(reader);

    const int port = waitUntilListening(&server);
    for (int request = 0; request < 3; ++request)
        EXPECT_TRUE(answersAt(port)) << "each logs two lines";
    EXPECT_TRUE(server.isRunning());
}

TEST(ServerLog, FileSizeLimitDoesNotEndTheServer)
{
    // The log is full after one block: 512 bytes, or 1024 in some shells.
    ServerProcess server(preparedBy("ulimit -f 1; exec \"$@\""));
    ASSERT_TRUE(server.launch({"-p0", "-d", server.logPath()}));
    const int port = waitUntilListening(&server);
    ASSERT_NE(port, 0) << server.logText();
    for (int request = 0; request < 20; ++request)
        EXPECT_TRUE(answersAt(port)) << "each logs two lines";
    EXPECT_TRUE(server.isRunning());
    const std::size_t size = server.logText().size();
    EXPECT_TRUE(size == 512 || size == 1024) << size;
}
