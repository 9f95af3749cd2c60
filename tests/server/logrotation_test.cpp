/* SIGHUP and the log file, which something else may have renamed. */
#include "startsupport.h"

#include "support/files.h"
#include "support/tablefixture.h"

#include <atomic>
#include <csignal>
#include <filesystem>
#include <map>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace fs = std::filesystem;

namespace {

using testing::EndsWith;
using testing::HasSubstr;

constexpr const char* Reopened = "[INFO] Log file reopened";

/** Has the server write two lines, of which one names the operation. */
void writeLines(Caller& caller, const std::string& operation)
{
    EXPECT_EQ(caller.request(QByteArray::fromStdString("Test." + operation), {}), internalErrorReply());
}

int countOf(const std::string& text, const std::string& part)
{
    int count = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
        ++count;
    return count;
}

} // namespace

TEST(LogRotation, LinesBeforeDuringAndAfterManyRotationsAreThereOnceAndWhole)
{
    ServerProcess server;
    ASSERT_TRUE(server.start());
    constexpr int Threads = 4;
    constexpr int Rotations = 20;
    const std::string longName(5000, 'd'); // its line is longer than the stream's buffer
    std::atomic<bool> stop = false;
    std::atomic<int> sent[Threads] = {};
    std::vector<std::thread> threads;
    for (int thread = 0; thread < Threads; ++thread) {
        threads.emplace_back([&, thread] {
            Caller caller(server);
            while (!stop) {
                const std::string mark = std::to_string(thread) + '.' + std::to_string(sent[thread]);
                if (thread % 2 == 0)
                    writeLines(caller, mark);
                else
                    EXPECT_EQ(caller.request("DescribeTable",
                                             {{"TableName", QString::fromStdString(longName + '.' + mark + "|t")}}),
                              notFoundReply());
                ++sent[thread];
            }
        });
    }
    std::string all;
    for (int rotation = 0; rotation < Rotations; ++rotation) {
        const std::string renamed = server.logPath() + '.' + std::to_string(rotation);
        const int before = sent[0];
        EXPECT_TRUE(waitUntil([&] { return sent[0] > before; }));
        fs::rename(server.logPath(), renamed);
        ASSERT_EQ(::kill(server.pid(), SIGHUP), 0);
        EXPECT_TRUE(waitUntil([&] { return readFile(server.logPath()).find(Reopened) != std::string::npos; }));
        all += readFile(renamed); // nothing is written to it any more
    }
    stop = true;
    for (std::thread& thread : threads)
        thread.join();
    all += readFile(server.logPath());

    EXPECT_EQ(countOf(all, Reopened), Rotations);
    std::map<std::string, int> messages;
    std::istringstream lines(all);
    for (std::string line; std::getline(lines, line);) {
        ASSERT_GE(line.size(), 27U) << line;
        EXPECT_EQ(line.front(), '[') << line;
        ++messages[line.substr(27)];
    }
    for (int thread = 0; thread < Threads; ++thread) {
        for (int number = 0; number < sent[thread]; ++number) {
            const std::string mark = std::to_string(thread) + '.' + std::to_string(number);
            int found = 0;
            if (thread % 2 == 0) {
                found = messages["[ERROR] bdbrequest 120 Unknown request opcode is Test." + mark];
            } else {
                const std::string end = " path " + longName + '.' + mark + " does not exist ";
                for (const auto& [message, count] : messages)
                    found += message.ends_with(end) ? count : 0;
            }
            EXPECT_EQ(found, 1) << mark;
        }
    }
}

TEST(LogRotation, ALogFileThatCannotBeReopenedContinuesAndSaysSo)
{
    ServerProcess server;
    const std::string directory = server.makeDirectory("logs");
    const std::string path = directory + "/log";
    ASSERT_TRUE(server.launch({"-p0", "-d", path}));
    EXPECT_TRUE(waitUntil([&] { return readFile(path).find("Server listening") != std::string::npos; }));
    fs::rename(directory, directory + ".old");
    ASSERT_EQ(::kill(server.pid(), SIGHUP), 0);
    const std::string old = directory + ".old/log";
    EXPECT_TRUE(waitUntil([&] { return readFile(old).find("Failed to reopen") != std::string::npos; }));
    EXPECT_THAT(readFile(old), EndsWith("Failed to reopen log file " + path + " error 2\n"));
    EXPECT_THAT(readFile(old), HasSubstr("[ERROR] bdbserver "));

    fs::create_directory(directory);
    ASSERT_EQ(::kill(server.pid(), SIGHUP), 0);
    EXPECT_TRUE(waitUntil([&] { return readFile(path).ends_with(std::string(Reopened) + "\n"); }));
    EXPECT_EQ(withoutTimes({readFile(path)}), std::vector<std::string>{std::string(Reopened) + "\n"});
    EXPECT_TRUE(server.isRunning());
}

TEST(LogRotation, AFileThatCouldNotBeOpenedAtTheStartIsOpened)
{
    ServerProcess server;
    const std::string path = server.directory() + "/logs/log";
    ASSERT_TRUE(server.launch({"-p0", "-d", path}));
    ASSERT_TRUE(server.waitForLog("Server listening on "));
    const std::string onStandardError = server.errorText();
    ASSERT_EQ(::kill(server.pid(), SIGHUP), 0);
    EXPECT_TRUE(waitUntil([&] { return server.errorText().ends_with("error 2\n"); }));
    EXPECT_THAT(server.errorText(), testing::StartsWith(onStandardError));
    (void)server.makeDirectory("logs");
    ASSERT_EQ(::kill(server.pid(), SIGHUP), 0);
    EXPECT_TRUE(waitUntil([&] { return readFile(path).ends_with(std::string(Reopened) + "\n"); }));
}

TEST(LogRotation, StandardErrorStaysAndTheServerContinues)
{
    ServerProcess::Setup setup;
    setup.logFile = false;
    ServerProcess server(setup);
    ASSERT_TRUE(server.start());
    const std::string before = server.errorText();
    for (int i = 0; i < 3; ++i)
        ASSERT_EQ(::kill(server.pid(), SIGHUP), 0);
    EXPECT_TRUE(serves(&server));
    Caller caller(server);
    writeLines(caller, "afterwards");
    EXPECT_TRUE(server.waitForLog("Unknown request opcode is Test.afterwards"));
    EXPECT_EQ(countOf(server.errorText(), "reopen"), 0);
    EXPECT_THAT(server.errorText(), testing::StartsWith(before));
    EXPECT_TRUE(server.isRunning());
}
