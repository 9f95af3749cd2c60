#include "shellfixture.h"

#include <filesystem>
#include <fstream>

namespace {

/** What the completion key does in the shell. */
class ShellKeys : public ShellTest {
protected:
    void SetUp() override
    {
        std::filesystem::create_directory(home_.file("shop"));
        std::ofstream(home_.file("items one.jsonl"));
    }

    /** The shell in a directory with "shop" and "items one.jsonl". */
    std::vector<std::string> words() const
    {
        return {"/bin/sh", "-c", "cd \"$1\" && exec \"$0\"", QUORVACTL_BINARY, home_.path()};
    }
};

} // namespace

TEST_F(ShellKeys, TabCompletesCommandsOptionsAndValues)
{
    TerminalSession shell(words(), variables());
    shell.sees(Prompt);
    shell.type("desc\t");
    shell.sees("ribe ");
    shell.type("d|t --js\t");
    shell.sees("on ");
    shell.type("\n");
    shell.sees("\"TableName\":\"d|t\"");
    shell.sees(Prompt);
    shell.type("update d|t a b --return updated-o\t");
    shell.sees("ld ");
    shell.type("\x03");
    shell.sees(Prompt);
    shell.type("scan d|t --co\t --m\t1\n"); // --count --max, which exclude each other
    shell.sees("excludes");
    shell.sees(Prompt);
}

TEST_F(ShellKeys, TabShowsWhatItCannotDecide)
{
    TerminalSession shell(words(), variables());
    shell.sees(Prompt);
    shell.type("de\t");
    shell.sees("delete        delete-table  describe");
    shell.sees("de");
    shell.type("l\t-t\td|t\n");
    shell.sees("closed d;");
    shell.sees(Prompt);
    shell.type("update d|t a b --return updated-\t");
    shell.sees("updated-new  updated-old");
}

TEST_F(ShellKeys, TabCompletesTablesThatTheServerLists)
{
    TerminalSession shell(words(), variables());
    shell.sees(Prompt);
    shell.type("scan sh\to\tr\t --count\n"); // "shop|", whose tables begin in two ways; "shop|o", "shop|orders"
    shell.sees("shop|old stock");
    shell.sees("shop|orders");
    shell.sees("\r\n2\r\n");
    shell.sees(Prompt);
    shell.type("describe shop|ol\t\n"); // quotes appear where they are needed
    shell.sees("d stock' ");
    shell.sees("table      shop|old stock");
    shell.sees(Prompt);
}

TEST_F(ShellKeys, TabCompletesTablesOfTheUsualDirectory)
{
    TerminalSession shell(words(), variables({"QUORVA_DIRECTORY=shop"}));
    shell.sees(Prompt);
    shell.type("describe sto\t\n");
    shell.sees("ck ");
    shell.sees("table      shop|stock");
    shell.sees(Prompt);
}

TEST_F(ShellKeys, TabCompletesFiles)
{
    TerminalSession shell(words(), variables());
    shell.sees(Prompt);
    shell.type("import d|t it\t\n");
    shell.sees("ems one.jsonl' ");
    shell.sees(Prompt);
    shell.type("put d|t sh\t");
    shell.sees("op/");
}

TEST_F(ShellKeys, CharactersOutsideAsciiAreEdited)
{
    TerminalSession shell(words(), variables({"LC_ALL=C"})); // the terminal speaks UTF-8 all the same
    shell.sees(Prompt);
    shell.type("get d|t größer äß\x7f\n"); // the last one is deleted
    shell.sees("there is no item \"größer\" \"ä\" in d|t");
    shell.sees(Prompt);
}
