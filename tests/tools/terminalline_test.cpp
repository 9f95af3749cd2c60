#include "tools/terminalline.h"

#include "support/tempdir.h"
#include "tools/messages.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace {

using Ctl::TerminalLine;

/** Turns standard error into a terminal. */
class TerminalLineTest : public testing::Test {
protected:
    void SetUp() override
    {
        saved_ = dup(STDERR_FILENO);
        terminal_ = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
        ASSERT_GE(terminal_, 0);
        ASSERT_EQ(grantpt(terminal_), 0);
        ASSERT_EQ(unlockpt(terminal_), 0);
        redirect(ptsname(terminal_));
    }

    ~TerminalLineTest() override
    {
        dup2(saved_, STDERR_FILENO);
        close(saved_);
        close(terminal_);
    }

    static void redirect(const std::string& path)
    {
        const int target = open(path.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
        ASSERT_GE(target, 0) << path;
        ASSERT_GE(dup2(target, STDERR_FILENO), 0);
        close(target);
    }

    /** What has been written to the terminal so far; a byte at the end marks that all of it has arrived. */
    std::string takeShown() const
    {
        std::fputc('\1', stderr);
        std::string text;
        char byte = 0;
        while (::read(terminal_, &byte, 1) == 1 && byte != '\1')
            text += byte;
        return text;
    }

private:
    int saved_ = -1;
    int terminal_ = -1;
};

} // namespace

TEST_F(TerminalLineTest, IsOverwrittenAndStaysAtTheEnd)
{
    {
        TerminalLine line;
        EXPECT_TRUE(line.isEnabled());
        EXPECT_FALSE(line.isShown());
        EXPECT_EQ(takeShown(), "");
        line.show("one");
        EXPECT_TRUE(line.isShown());
        line.show("two");
        EXPECT_EQ(takeShown(), "\r\033[Kone\r\033[Ktwo");
    }
    EXPECT_EQ(takeShown(), "\r\n");
}

TEST_F(TerminalLineTest, EndsOnce)
{
    {
        TerminalLine line;
        line.end();
        EXPECT_EQ(takeShown(), "") << "nothing was shown";
        line.show("one");
        line.end();
        EXPECT_FALSE(line.isShown());
    }
    EXPECT_EQ(takeShown(), "\r\033[Kone\r\n");
}

TEST_F(TerminalLineTest, MakesWayForAMessage)
{
    {
        TerminalLine line;
        line.show("one");
        Ctl::complain("message", {"detail"});
        EXPECT_FALSE(line.isShown());
        EXPECT_EQ(takeShown(), "\r\033[Kone\r\033[Kquorvactl: message\r\n  detail\r\n");
        Ctl::complain("another");
        EXPECT_EQ(takeShown(), "quorvactl: another\r\n");
        line.show("two");
        EXPECT_EQ(takeShown(), "\r\033[Ktwo");
        TerminalLine::clear();
    }
    EXPECT_EQ(takeShown(), "\r\033[K") << "nothing is left to be ended";
}

TEST_F(TerminalLineTest, ShowsNothingWhenItIsDisabled)
{
    {
        TerminalLine line(false);
        EXPECT_FALSE(line.isEnabled());
        line.show("one");
        EXPECT_FALSE(line.isShown());
    }
    EXPECT_EQ(takeShown(), "");
}

TEST_F(TerminalLineTest, ShowsNothingWhereNobodyLooks)
{
    const TempDir directory;
    const std::string file = directory.file("messages");
    const int made = open(file.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    ASSERT_GE(made, 0);
    close(made);
    redirect(file);
    {
        TerminalLine line;
        EXPECT_FALSE(line.isEnabled());
        line.show("one");
        line.end();
        TerminalLine::clear();
    }
    EXPECT_EQ(lseek(STDERR_FILENO, 0, SEEK_END), 0);
}

TEST_F(TerminalLineTest, KnowsTheWidthOfTheTerminal)
{
    winsize size{};
    size.ws_col = 37;
    ASSERT_EQ(ioctl(STDERR_FILENO, TIOCSWINSZ, &size), 0);
    EXPECT_EQ(TerminalLine::width(), 37);
    redirect("/dev/null");
    EXPECT_EQ(TerminalLine::width(), 80);
}
