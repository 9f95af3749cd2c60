/* quorva-http --log, and SIGHUP. */
#include "support/files.h"
#include "support/programrun.h"
#include "support/tempdir.h"
#include "support/waituntil.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

namespace fs = std::filesystem;

namespace {

using testing::MatchesRegex;

constexpr const char* Listening = "quorva-http: listening on 127.0.0.1:[0-9]+ for the server at 127.0.0.1:4567\n";

class HttpLogFile : public testing::Test {
protected:
    ~HttpLogFile() override
    {
        if (pid_ < 0)
            return;
        EXPECT_EQ(::kill(pid_, SIGTERM), 0);
        EXPECT_TRUE(waitUntil([this] { return hasEnded(pid_); }));
        EXPECT_EQ(reapProgram(std::exchange(pid_, -1)), 0);
    }

    void start(const std::vector<std::string>& arguments)
    {
        std::vector<std::string> words{"--listen", "0"};
        words.insert(words.end(), arguments.begin(), arguments.end());
        pid_ = startProgram(QUORVA_HTTP_BINARY, words, "/dev/null", "/dev/null", error_);
        ASSERT_GT(pid_, 0);
    }

    void hangUp() const { EXPECT_EQ(::kill(pid_, SIGHUP), 0); }

    static bool waitForLine(const std::string& file, const std::string& end)
    {
        return waitUntil([&] { return readFile(file).ends_with(end + "\n"); });
    }

    TempDir directory_;
    const std::string error_ = directory_.file("stderr");
    const std::string log_ = directory_.file("log");
    pid_t pid_ = -1;
};

TEST_F(HttpLogFile, TakesTheMessagesAndIsReopenedAfterARotation)
{
    start({"--log", log_});
    ASSERT_TRUE(waitForLine(log_, ":4567"));
    fs::rename(log_, log_ + ".1");
    hangUp();
    ASSERT_TRUE(waitForLine(log_, "reopened"));
    EXPECT_THAT(readFile(log_ + ".1"), MatchesRegex(Listening));
    EXPECT_EQ(readFile(log_), "quorva-http: log file reopened\n");
    EXPECT_EQ(readFile(error_), "");
}

TEST_F(HttpLogFile, DoesNotGetTheTokenOfTheConsole)
{
    start({"--log", log_, "--console"});
    ASSERT_TRUE(waitForLine(log_, ":4567"));
    EXPECT_THAT(readFile(log_), MatchesRegex(Listening));
    EXPECT_THAT(readFile(error_),
                MatchesRegex("quorva-http: console at http://127\\.0\\.0\\.1:[0-9]+/console#token=[0-9a-f]{48}\n"));
}

TEST_F(HttpLogFile, StaysWhereItIsIfItCannotBeReopened)
{
    fs::create_directory(directory_.file("logs"));
    const std::string path = directory_.file("logs/log");
    start({"--log", path});
    ASSERT_TRUE(waitForLine(path, ":4567"));
    fs::rename(directory_.file("logs"), directory_.file("old"));
    hangUp();
    ASSERT_TRUE(waitForLine(directory_.file("old/log"),
                            "quorva-http: cannot open the log file " + path + ": No such file or directory"));
}

TEST_F(HttpLogFile, ThatCannotBeOpenedAtTheStartEndsTheProgram)
{
    const std::string path = directory_.file("missing/log");
    const ProgramRun run = runProgram(QUORVA_HTTP_BINARY, {"--listen", "0", "--log", path});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.error, "quorva-http: cannot open the log file " + path + ": No such file or directory\n");
}

TEST_F(HttpLogFile, WithoutOneASignalChangesNothing)
{
    start({});
    ASSERT_TRUE(waitForLine(error_, ":4567"));
    for (int i = 0; i < 3; ++i)
        hangUp();
    EXPECT_EQ(::kill(pid_, SIGTERM), 0);
    ASSERT_TRUE(waitUntil([this] { return hasEnded(pid_); }));
    EXPECT_EQ(reapProgram(std::exchange(pid_, -1)), 0);
    EXPECT_THAT(readFile(error_), MatchesRegex(Listening));
}

} // namespace
