#include "shellfixture.h"

#include "support/lines.h"

#include <algorithm>
#include <filesystem>
#include <fstream>

namespace {

using Words = std::vector<std::string>;

Words sortedLines(const std::string& text)
{
    Words lines = linesOf(text);
    std::sort(lines.begin(), lines.end());
    return lines;
}

/** Completion of tables and files in the shells, in a directory with "shop", "empty" and "items one.jsonl". */
class CompletionShells : public ShellTest {
protected:
    void SetUp() override
    {
        std::filesystem::create_directory(home_.file("shop"));
        std::filesystem::create_directory(home_.file("empty"));
        std::filesystem::create_symlink(QUORVACTL_BINARY, home_.file("quorvactl"));
        std::ofstream(home_.file("items one.jsonl"));
    }

    /** What quorvactl itself answers to the scripts. */
    Words answer(Words words, const Words& more = {}) const
    {
        Words all = variables(more);
        all.insert(all.end(), {"/bin/sh", "-c", "cd \"$0\" && shift 0 && exec \"$@\"", home_.path(), QUORVACTL_BINARY,
                               "__complete"});
        all.insert(all.end(), words.begin(), words.end());
        const ProgramRun run = runProgram("/usr/bin/env", all);
        EXPECT_EQ(run.status, 0);
        EXPECT_EQ(run.error, "");
        return linesOf(run.output);
    }

    /** A shell that runs a script first, in the directory, with the program in its path. */
    std::unique_ptr<TerminalSession> start(const Words& words, const std::string& script) const
    {
        TerminalSession* session = new TerminalSession(
            words, variables({"PS1=ready> ", "PATH=" + home_.path() + ":/usr/bin:/bin", "SCRIPT=" + script}));
        session->type("cd '" + home_.path() + "' && . \"$SCRIPT\" && echo be''gun\n");
        session->sees("begun");
        return std::unique_ptr<TerminalSession>(session);
    }
};

} // namespace

TEST_F(CompletionShells, TablesAreThoseThatTheServerListsForADirectory)
{
    EXPECT_EQ(answer({"scan", "shop|"}), Words({"tables", "shop|old stock", "shop|orders", "shop|stock"}));
    EXPECT_EQ(answer({"scan", "shop|s"}), Words({"tables", "shop|stock"}));
    EXPECT_EQ(answer({"scan", "shop"}), Words({"tables", "shop|old stock", "shop|orders", "shop|stock"}));
    EXPECT_EQ(answer({"scan", "sh"}), Words({"tables", "shop|old stock", "shop|orders", "shop|stock"}));
    EXPECT_EQ(answer({"scan", ""}), Words({"tables", "empty/", "shop/"}));
    EXPECT_EQ(answer({"scan", "empty"}), Words({"tables", "empty/"}));
    EXPECT_EQ(answer({"scan", "none|"}), Words({"tables"}));
    EXPECT_EQ(answer({"backup", "start", "shop|st"}), Words({"tables", "shop|stock"}));
    EXPECT_EQ(answer({"scan", "shop|s", "--port", ""}), Words({"words"}));
}

TEST_F(CompletionShells, TablesOfTheUsualDirectoryNeedNoDirectory)
{
    EXPECT_EQ(answer({"get", "o"}, {"QUORVA_DIRECTORY=shop"}), Words({"tables", "old stock", "orders"}));
    EXPECT_EQ(answer({"get", "shop|o"}, {"QUORVA_DIRECTORY=/none"}),
              Words({"tables", "shop|old stock", "shop|orders"}));
}

TEST_F(CompletionShells, TablesComeFromTheServerOfTheCommandLine)
{
    const HeldPort nobody;
    const Words wrong{"QUORVA_PORT=" + std::to_string(nobody.number())};
    EXPECT_EQ(answer({"scan", "shop|"}, wrong), Words({"tables"}));
    EXPECT_EQ(answer({"--port", std::to_string(server_.port()), "scan", "shop|s"}, wrong),
              Words({"tables", "shop|stock"}));
    EXPECT_EQ(answer({"scan", "--host=localhost", "--port=" + std::to_string(server_.port()), "shop|s"}, wrong),
              Words({"tables", "shop|stock"}));
    EXPECT_EQ(answer({"--port", "x", "scan", "shop|s"}), Words({"tables"}));
}

TEST_F(CompletionShells, BashQuotesTheNamesOfTables)
{
    const auto bash = start({"/bin/bash", "--norc", "--noprofile", "-i"}, QUORVACTL_COMPLETION "/quorvactl.bash");
    bash->type("quorvactl describe shop\\|sto\t\n");
    bash->sees("table      shop|stock");
    bash->type("quorvactl describe 'shop|ol\t\n");
    bash->sees("table      shop|old stock");
    bash->type("quorvactl desc\tsh\t\\|or\t\n"); // sh becomes shop\|, and the tables share an "o" or "s" only
    bash->sees("table      shop|");
    bash->type("quorvactl import d\\|t it\t\n");
    bash->sees("items\\ one.jsonl ");
    bash->type("quorvactl --port=" + std::to_string(server_.port()) + " scan d\\|t --cou\t\n");
    bash->sees("\r2\r\n");
}

TEST_F(CompletionShells, ZshCompletesTheSame)
{
    const auto zsh = start({"/usr/bin/zsh", "-f", "-i"}, "/dev/null");
    zsh->type("fpath=('" QUORVACTL_COMPLETION "' $fpath); autoload -U compinit && compinit -u -D; echo lo''aded\n");
    zsh->sees("loaded");
    zsh->type("quorvactl desc\tshop\\|sto\t\n");
    zsh->sees("table      shop|stock");
    zsh->type("quorvactl describe 'shop|ol\t\n");
    zsh->sees("table      shop|old stock");
    zsh->type("quorvactl scan d\\|t --cou\t\n");
    zsh->sees("\r\n2\r\n");
    zsh->type("quorvactl import d\\|t it\t\n");
    zsh->sees("items\\ one.jsonl");
}

TEST_F(CompletionShells, FishCompletesTheSame)
{
    const auto complete = [&](const std::string& line) {
        Words all = variables({"PATH=" + home_.path() + ":/usr/bin:/bin"});
        all.insert(all.end(),
                   {"/usr/bin/fish", "--no-config", "-c", "cd $argv[1]; source $argv[2]; complete -C $argv[3]",
                    home_.path(), QUORVACTL_COMPLETION "/quorvactl.fish", line});
        const ProgramRun run = runProgram("/usr/bin/env", all);
        EXPECT_EQ(run.status, 0) << line;
        EXPECT_EQ(run.error, "") << line;
        return sortedLines(run.output);
    };
    EXPECT_EQ(complete("quorvactl descr"), Words({"describe"}));
    EXPECT_EQ(complete("quorvactl scan 'shop|o"), Words({"shop|old stock", "shop|orders"}));
    EXPECT_EQ(complete("quorvactl scan shop\\|s"), Words({"shop|stock"}));
    EXPECT_EQ(complete("quorvactl scan d --cou"), Words({"--count"}));
    EXPECT_EQ(complete("quorvactl update T a b --return=updated"),
              Words({"--return=updated-new", "--return=updated-old"}));
    EXPECT_EQ(complete("quorvactl import T it"), Words({"items one.jsonl"}));
}
