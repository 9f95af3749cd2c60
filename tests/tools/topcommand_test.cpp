#include "support/heldport.h"
#include "support/lines.h"
#include "support/samplestatus.h"
#include "support/scriptedserver.h"
#include "terminalprogram.h"
#include "toolfixture.h"

#include <gmock/gmock.h>

#include <QString>

#include <algorithm>
#include <csignal>
#include <memory>
#include <string>
#include <vector>

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

const std::string Enter = "\033[?1049h\033[?25l\033[?7l";
const std::string Leave = "\033[?7h\033[?25h\033[?1049l";
const std::string HelpEnd = "arrows scroll";

/** The sample, on a screen. */
class TopScreen : public testing::Test {
protected:
    TopScreen() : initial_(plainSettings()) {}

    void start(int columns = 200, int lines = 40, const std::string& interval = "3600")
    {
        top_ = std::make_unique<TerminalProgram>(
            QUORVACTL_BINARY, addressed(server_.port(), {"top", "--interval", interval}), columns, lines);
        (void)top_->waitForScreen("quorva 2.4.0"); // ignored: fails the test itself
    }

    /** Expects its end, with the terminal as it was before. */
    void expectRestored()
    {
        EXPECT_EQ(top_->wait(), Ok);
        EXPECT_THAT(top_->output(), testing::StartsWith(Enter));
        EXPECT_THAT(top_->output(), EndsWith(Leave));
        const termios now = top_->settings();
        EXPECT_EQ(now.c_lflag, initial_.c_lflag);
        EXPECT_EQ(now.c_iflag, initial_.c_iflag);
        EXPECT_EQ(now.c_oflag, initial_.c_oflag);
        EXPECT_TRUE(std::equal(std::begin(now.c_cc), std::end(now.c_cc), std::begin(initial_.c_cc)));
    }

    bool hasEcho() const { return (top_->settings().c_lflag & ECHO) != 0; }

    /** Waits for the operation in the first line of the table. */
    void waitForFirst(const std::string& operation)
    {
        (void)top_->waitForScreen([&](const std::string& screen) {
            const std::size_t at = screen.find("\nOPERATION ");
            return at != std::string::npos && screen.substr(screen.find('\n', at + 1) + 1).starts_with(operation) &&
                   screen.ends_with(HelpEnd);
        });
    }

    ReplyingServer server_{[](const QByteArray&, const QByteArray&) { return SampleStatus; }};
    std::unique_ptr<TerminalProgram> top_;

private:
    static termios plainSettings() { return TerminalProgram("/bin/true", {}).settings(); }

    const termios initial_;
};

} // namespace

TEST_F(TopScreen, ShowsTheServerSinceItsStartImmediately)
{
    start();
    const std::string screen = top_->waitForScreen("SLOW REQUEST");
    EXPECT_THAT(screen, HasSubstr("figures since its start\n"));
    EXPECT_THAT(screen, HasSubstr("\nPutItem       1.0      0.02   50 us     1 s  longer    102\n"));
    EXPECT_THAT(screen, HasSubstr("\n/srv/shop "));
    EXPECT_FALSE(hasEcho());
}

TEST_F(TopScreen, KeysSortTheOperations)
{
    start();
    waitForFirst("PutItem");
    top_->type("m");
    waitForFirst("Query");
    top_->type("r");
    waitForFirst("PutItem");
    top_->type("mrf");
    waitForFirst("PutItem");
    top_->type("mxp");
    waitForFirst("PutItem");
    top_->type("?\033[Zm"); // those without a meaning change nothing
    waitForFirst("Query");
    top_->type("n");
    waitForFirst("PutItem");
    EXPECT_EQ(server_.requests(), 1) << "sorting asks nothing";
}

TEST_F(TopScreen, QuitsOnQ)
{
    start();
    top_->type("q");
    expectRestored();
}

TEST_F(TopScreen, QuitsOnCtrlC)
{
    start();
    top_->type("\003");
    expectRestored();
}

TEST_F(TopScreen, SignalsRestoreTheTerminalHoweverManyThereAre)
{
    for (const int signal : {SIGTERM, SIGHUP, SIGQUIT, SIGINT}) {
        SCOPED_TRACE(signal);
        start();
        for (int i = 0; i < 3; ++i)
            top_->signal(signal);
        expectRestored();
    }
}

TEST_F(TopScreen, QuitsWhileTheServerIsSilent)
{
    HeldPort silent;
    silent.listen(5);
    TerminalProgram top(QUORVACTL_BINARY, addressed(silent.number(), {"top"}));
    (void)top.waitForScreen("waiting for the server's status");
    top.type("q");
    EXPECT_EQ(top.wait(), Ok);
    EXPECT_THAT(top.output(), EndsWith(Leave));
}

TEST_F(TopScreen, StopsWithTheTerminalRestoredAndContinues)
{
    start();
    top_->type("\032");
    top_->waitForStop();
    EXPECT_THAT(top_->output(), EndsWith(Leave));
    EXPECT_TRUE(hasEcho());
    const std::size_t before = top_->output().size();
    top_->signal(SIGCONT);
    (void)top_->waitForScreen([&](const std::string&) { return top_->output().ends_with("\033[0m\033[K"); });
    EXPECT_THAT(top_->output().substr(before), testing::StartsWith(Enter));
    EXPECT_FALSE(hasEcho());
    top_->type("q");
    expectRestored();
}

TEST_F(TopScreen, FitsTheTerminalAlsoAfterItIsResized)
{
    start(60, 12);
    const auto fits = [](const std::string& screen, std::size_t columns, std::size_t lines) {
        const std::vector<std::string> shown = linesOf(screen);
        return shown.size() == lines && std::all_of(shown.begin(), shown.end(), [&](const std::string& line) {
                   return static_cast<std::size_t>(QString::fromStdString(line).size()) <= columns;
               });
    };
    (void)top_->waitForScreen([&](const std::string& screen) { return fits(screen, 60, 12) && !screen.empty(); });
    top_->resize(30, 6);
    (void)top_->waitForScreen([&](const std::string& screen) { return fits(screen, 30, 6); });
    top_->resize(200, 40);
    const std::string screen = top_->waitForScreen("127.0.0.1:51234");
    EXPECT_THAT(screen, HasSubstr(HelpEnd));
}

TEST_F(TopScreen, ScrollsWhatDoesNotFit)
{
    start(200, 5);
    EXPECT_THAT(top_->screen(), HasSubstr("quorva 2.4.0"));
    top_->type("\033[B");
    EXPECT_THAT(top_->waitForScreen([](const std::string& screen) {
        return screen.starts_with("requests ") && screen.ends_with(HelpEnd);
    }),
                HasSubstr("\nnow "));
    for (int i = 0; i < 40; ++i)
        top_->type("\033[B");
    (void)top_->waitForScreen("127.0.0.1:51234\n" + std::string("q quit"));
    top_->type("\033[A\033OA");
    (void)top_->waitForScreen([](const std::string& screen) { return screen.starts_with("/srv/shop"); });
}

TEST_F(TopScreen, SaysThatTheServerIsGoneAndContinues)
{
    ServerProcess server;
    ASSERT_TRUE(server.start());
    TerminalProgram top(QUORVACTL_BINARY, addressed(server.port(), {"top", "--interval", "0.1"}));
    const std::string first = std::to_string(server.pid());
    (void)top.waitForScreen(", process " + first);
    server.kill();
    ASSERT_EQ(server.waitForExit(), -SIGKILL);
    const std::string gone = top.waitForScreen("; trying again");
    EXPECT_THAT(gone, HasSubstr("no status from 127.0.0.1:" + std::to_string(server.port()) + ": "));
    EXPECT_THAT(gone, HasSubstr(", process " + first)) << "the latest figures stay";
    ASSERT_TRUE(server.launch({"-p", std::to_string(server.port()), "-d", server.logPath()}));
    (void)top.waitForScreen([&](const std::string& screen) {
        return screen.find(", process " + std::to_string(server.pid())) != std::string::npos &&
               screen.find("trying again") == std::string::npos && screen.ends_with(HelpEnd);
    });
    top.type("q");
    EXPECT_EQ(top.wait(), Ok);
}

TEST_F(TopScreen, WithACountIsText)
{
    TerminalProgram top(QUORVACTL_BINARY, addressed(server_.port(), {"top", "--interval", "0.1", "--count", "1"}));
    EXPECT_EQ(top.wait(), Ok);
    EXPECT_THAT(top.output(), HasSubstr("quorva 2.4.0"));
    EXPECT_THAT(top.output(), Not(HasSubstr("\033")));
}

TEST(TopCommandLine, RefusesIntervalsAndCountsThatMakeNoSense)
{
    for (const std::vector<std::string>& words : std::vector<std::vector<std::string>>{
             {"top", "--interval", "0"}, {"top", "--interval", "x"}, {"top", "--count", "0"}, {"top", "word"}}) {
        const ProgramRun run = quorvactl(words);
        EXPECT_EQ(run.status, Usage) << testing::PrintToString(words);
        EXPECT_THAT(run.error, testing::StartsWith("quorvactl top: ")) << run.error;
    }
}
