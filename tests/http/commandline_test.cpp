#include "http/httpfixture.h"
#include "support/programrun.h"
#include "support/scriptedserver.h"

#include <gmock/gmock.h>

#include <ifaddrs.h>
#include <netdb.h>
#include <netinet/in.h>

#include <string>
#include <vector>

namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;

ProgramRun quorvaHttp(const std::vector<std::string>& arguments)
{
    return runProgram(QUORVA_HTTP_BINARY, arguments);
}

/** The IPv4 addresses of this machine's interfaces, and a second one of the loopback interface. */
std::vector<std::string> otherAddresses()
{
    std::vector<std::string> addresses{"127.0.0.2"};
    ifaddrs* interfaces = nullptr;
    EXPECT_EQ(getifaddrs(&interfaces), 0);
    for (const ifaddrs* one = interfaces; one != nullptr; one = one->ifa_next) {
        char text[NI_MAXHOST] = "";
        if (one->ifa_addr != nullptr && one->ifa_addr->sa_family == AF_INET &&
            getnameinfo(one->ifa_addr, sizeof(sockaddr_in), text, sizeof text, nullptr, 0, NI_NUMERICHOST) == 0 &&
            std::string(text) != "127.0.0.1")
            addresses.emplace_back(text);
    }
    freeifaddrs(interfaces);
    return addresses;
}

} // namespace

TEST(HttpCommandLine, HelpNamesEveryOption)
{
    const ProgramRun run = quorvaHttp({"--help"});
    EXPECT_EQ(run.status, 0);
    for (const char* option :
         {"--listen", "--host", "--port", "--connect-timeout", "--receive-timeout", "--threads", "--max-body",
          "--keep-alive", "--transfer-timeout", "--allow-host", "--allow-users", "--metrics-only", "--log", "--console",
          "--console-write", "--directory", "--version", "Exit status:"})
        EXPECT_THAT(run.output, HasSubstr(option));
    EXPECT_THAT(run.error, IsEmpty());
}

TEST(HttpCommandLine, VersionIsOneLine)
{
    const ProgramRun run = quorvaHttp({"--version"});
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.output, MatchesRegex("quorva-http [0-9.]+\n"));
}

TEST(HttpCommandLine, WrongWordsAndValuesAreRefused)
{
    for (const std::vector<std::string>& arguments :
         std::vector<std::vector<std::string>>{{"word"},
                                               {"--unknown"},
                                               {"--listen", "65536"},
                                               {"--listen", "-1"},
                                               {"--port", "0"},
                                               {"--host", "localhost"},
                                               {"--threads", "0"},
                                               {"--max-body", "0"},
                                               {"--metrics-only", "65536"},
                                               {"--directory", ""},
                                               {"--receive-timeout", "0"}}) {
        const ProgramRun run = quorvaHttp(arguments);
        EXPECT_EQ(run.status, 64) << arguments.front();
        EXPECT_THAT(run.error, HasSubstr("--help")) << arguments.front();
        EXPECT_THAT(run.output, IsEmpty());
    }
}

TEST(HttpCommandLine, APortThatIsTakenIsAFailure)
{
    const ScriptedServer other([](const ScriptedServer::Request&) { return std::string(); });
    const ProgramRun run = quorvaHttp({"--listen", std::to_string(other.port())});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.error,
              "quorva-http: cannot listen on 127.0.0.1:" + std::to_string(other.port()) + ": Address already in use\n");
}

TEST(HttpCommandLine, TooLittleMemoryForTheThreadsIsAFailure)
{
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "the sanitizer needs address space of its own";
#endif
    const ProgramRun run =
        runProgram("/bin/sh", {"-c", "ulimit -v 1000000; exec \"$0\" --listen 0 --threads 4096", QUORVA_HTTP_BINARY});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.error, testing::EndsWith("quorva-http: there is not enough memory, or not enough threads can "
                                             "be created for --threads\n"));
}

TEST(HttpCommandLine, TwoOfThemDoNotShareAPort)
{
    HttpProcess first;
    ASSERT_TRUE(first.start(1));
    const ProgramRun run = quorvaHttp({"--listen", std::to_string(first.port())});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.error, HasSubstr("Address already in use"));
}

TEST(HttpCommandLine, TheFreePortIsReportedAndOnLoopbackOnly)
{
    HttpProcess http;
    ASSERT_TRUE(http.start(4321, {"--host", "127.0.0.9"}));
    EXPECT_EQ(http.errorText(), "quorva-http: listening on 127.0.0.1:" + std::to_string(http.port()) +
                                    " for the server at 127.0.0.9:4321\n");
    EXPECT_TRUE(canConnect("127.0.0.1", http.port()));
    for (const std::string& address : otherAddresses())
        EXPECT_FALSE(canConnect(address.c_str(), http.port())) << address;
}
