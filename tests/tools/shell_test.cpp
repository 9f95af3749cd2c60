#include "shellfixture.h"

#include "support/files.h"
#include "support/heldport.h"

#include <filesystem>

#include <gmock/gmock.h>
#include <sys/stat.h>

namespace {

using testing::HasSubstr;
using testing::Not;

class Shell : public ShellTest {
protected:
    std::vector<std::string> words() const { return {QUORVACTL_BINARY}; }
};

} // namespace

TEST_F(Shell, RunsCommandsAndShowsWhatTheyPrint)
{
    TerminalSession shell(words(), variables());
    shell.sees("help lists the commands");
    shell.sees(Prompt);
    shell.type("scan 'd|t'\n");
    shell.sees("{\"h\":{\"S\":\"item0\"},\"r\":{\"S\":\"größer\"}}\r\n{\"h\":{\"S\":\"item1\"}");
    shell.sees(Prompt);
    shell.type("quorvactl scan d|t --count\n"); // copied from elsewhere; the | needs no quotes
    shell.sees("\r\n2\r\n");
    shell.sees(Prompt);
    shell.type("putt d|t\n");
    shell.sees("quorvactl: unknown command \"putt\"");
    shell.sees("did you mean put?");
    shell.sees(Prompt);
    shell.type("get --help\n");
    shell.sees("Usage: quorvactl get [OPTIONS] TABLE HASH RANGE");
    shell.sees(Prompt);
    shell.type("\\q\n");
    EXPECT_EQ(shell.wait(), 0);
    EXPECT_THAT(shell.shown(), Not(HasSubstr("page:")));
}

TEST_F(Shell, EndsWithItsWordsAndAtTheEndOfTheInput)
{
    for (const char* end : {"\\q\n", "exit\n", " quit \n", "\x04"}) {
        TerminalSession shell(words(), variables());
        shell.sees(Prompt);
        shell.type("\n");
        shell.sees(Prompt);
        shell.type(end);
        EXPECT_EQ(shell.wait(), 0) << end;
    }
    EXPECT_FALSE(std::filesystem::exists(history()));
}

TEST_F(Shell, ReadsLinesUntilAQuoteIsClosed)
{
    TerminalSession shell(words(), variables());
    shell.sees(Prompt);
    shell.type("put d|t '\n");
    shell.sees("        -> ");
    shell.type("{\"h\": 1}' \\\n");
    shell.sees("        -> ");
    shell.type("--return old\n");
    shell.sees("quorvactl: attribute \"h\": \"1\" has no type");
    shell.sees(Prompt);
}

TEST_F(Shell, CtrlCEndsACommandAndNotTheShell)
{
    // The server accepts the connection and never answers.
    const HeldPort silent;
    silent.listen(1);
    TerminalSession shell(words(), variables({"QUORVA_PORT=" + std::to_string(silent.number())}));
    shell.sees(Prompt);
    shell.type("flush d|t\n");
    shell.sees("flush d|t\r\n");
    pollfd connection{silent.descriptor(), POLLIN, 0};
    ASSERT_EQ(poll(&connection, 1, 60000), 1); // the command has connected
    shell.type("\x03");
    shell.sees("^C");
    shell.sees(Prompt);
    shell.type("no\x03");
    shell.sees("^C");
    shell.sees(Prompt);
    shell.type("exit\n");
    EXPECT_EQ(shell.wait(), 0);
}

TEST_F(Shell, ShowsLongOutputThroughThePager)
{
    TerminalSession shell(words(), variables());
    shell.sees(Prompt);
    shell.type("scan 'long|t'\n");
    for (const int i : {0, 50, 99})
        shell.sees("page:{\"h\":{\"S\":\"item" + std::to_string(i) + "\"}");
    shell.sees(Prompt);
    shell.type("help\n");
    shell.sees("page:Command-line client of a Quorva server");
    shell.sees(Prompt);
}

TEST_F(Shell, UsesNoPagerWithAnEmptyName)
{
    TerminalSession shell(words(), variables({"PAGER="}));
    shell.sees(Prompt);
    shell.type("scan long|t\n");
    shell.sees("item99");
    shell.sees(Prompt);
    EXPECT_THAT(shell.shown(), Not(HasSubstr("page:")));
}

TEST_F(Shell, GoesOnWhenThePagerIsLeft)
{
    TerminalSession shell(words(), variables({"PAGER=head -n 1"}));
    shell.sees(Prompt);
    for (int i = 0; i < 2; ++i) {
        shell.type("scan long|t\n");
        shell.sees("item0\"");
        shell.sees(Prompt);
    }
    EXPECT_THAT(shell.shown(), Not(HasSubstr("item1\"")));
    EXPECT_THAT(shell.shown(), Not(HasSubstr("ended by signal")));
}

TEST_F(Shell, TakesTheServerOfItsCommandLine)
{
    const HeldPort nobody;
    TerminalSession shell({QUORVACTL_BINARY, "--port", std::to_string(server_.port()), "--host", "localhost"},
                          variables({"QUORVA_PORT=" + std::to_string(nobody.number())}));
    shell.sees(Prompt);
    shell.type("scan d|t --count\n");
    shell.sees("\r\n2\r\n");
    shell.type("scan d|t --count --port " + std::to_string(nobody.number()) + "\n");
    shell.sees("no reply from 127.0.0.1:" + std::to_string(nobody.number()));
    shell.sees(Prompt);
}

TEST_F(Shell, KeepsItsHistoryForLaterOnes)
{
    {
        TerminalSession shell(words(), variables());
        shell.sees(Prompt);
        for (const char* line : {"scan d|t --count\n", "scan d|t --count\n", "scan d|t --max 1\n"}) {
            shell.type(line);
            shell.sees("\r\n");
            shell.sees(Prompt);
        }
        shell.type("exit\n");
        EXPECT_EQ(shell.wait(), 0);
    }
    EXPECT_EQ(readFile(history()), "scan d|t --count\nscan d|t --max 1\n");
    struct stat status = {};
    ASSERT_EQ(stat(history().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0600U);

    TerminalSession shell(words(), variables());
    shell.sees(Prompt);
    shell.type("\x1b[A"); // the arrow up
    shell.sees("scan d|t --max 1");
    shell.type("\x1b[A");
    shell.sees("count");
    shell.type("\n");
    shell.sees("\r\n2\r\n");
    shell.sees(Prompt);
}

TEST(ShellWithoutATerminal, IsAUsageErrorAsEver)
{
    const std::string error = "quorvactl: A command or an OPERATION is required\n"
                              "Usage: quorvactl [OPTIONS] [OPERATION] [JSON] [SUBCOMMAND]\n"
                              "Run with --help for more information.\n";
    const ProgramRun run = runProgram(QUORVACTL_BINARY, {});
    EXPECT_EQ(run.status, 64);
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(run.error, error);
    // With a terminal for the input alone.
    TerminalSession piped({"/bin/sh", "-c", "\"$0\" | cat; echo end", QUORVACTL_BINARY}, {});
    piped.sees("quorvactl: A command or an OPERATION is required");
    piped.sees("end");
}
