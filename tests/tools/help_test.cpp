#include "helptext.h"
#include "support/quorvactl.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

namespace {

using testing::AllOf;
using testing::HasSubstr;
using Words = std::vector<std::string>;

} // namespace

TEST(Help, NamesAllCommands)
{
    EXPECT_EQ(commandsIn(quorvactl({"--help"}).output),
              Words({"put",        "get",     "update",       "delete",   "scan",   "query",        "import",
                     "export",     "init",    "create-table", "describe", "tables", "delete-table", "truncate",
                     "drop-table", "compact", "check",        "flush",    "backup", "restore",      "standby",
                     "status",     "top",     "call",         "help"}));
}

TEST(Help, EveryCommandHasAnExampleOfItself)
{
    Words commands = commandsIn(quorvactl({"--help"}).output);
    for (const std::string& action : commandsIn(quorvactl({"backup", "--help"}).output))
        commands.push_back("backup " + action);
    ASSERT_EQ(commands.size(), 30U);
    for (const std::string& command : commands) {
        std::istringstream names(command);
        Words words{std::istream_iterator<std::string>(names), {}};
        words.emplace_back("--help");
        const ProgramRun run = quorvactl(words);
        EXPECT_EQ(run.status, 0) << command;
        EXPECT_EQ(run.error, "") << command;
        EXPECT_THAT(run.output, AllOf(HasSubstr("Usage: quorvactl " + command + ' '),
                                      HasSubstr("\nExample:\n  quorvactl " + command + ' '), HasSubstr("\n  64  ")));
        EXPECT_EQ(run.output.find("Example:"), run.output.rfind("Example:")) << command;
    }
}

TEST(Help, OfACommandIsThatOfItsOption)
{
    EXPECT_EQ(quorvactl({"help"}).output, quorvactl({"--help"}).output);
    EXPECT_EQ(quorvactl({"help", "put"}).output, quorvactl({"put", "--help"}).output);
    const ProgramRun run = quorvactl({"help", "backup", "start"});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.output, quorvactl({"backup", "start", "--help"}).output);
    EXPECT_EQ(run.error, "");
}

TEST(Help, OfAnUnknownCommandIsAUsageError)
{
    const ProgramRun like = quorvactl({"help", "backup", "strat"});
    EXPECT_EQ(like.status, 64);
    EXPECT_EQ(like.output, "");
    EXPECT_EQ(like.error, "quorvactl: there is no command \"backup strat\"\n  did you mean start?\n");
    EXPECT_EQ(quorvactl({"help", "frobnicate"}).error, "quorvactl: there is no command \"frobnicate\"\n"
                                                       "  try: quorvactl --help, which lists the commands\n");
    EXPECT_EQ(quorvactl({"help", "put", "x"}).error, "quorvactl: there is no command \"put x\"\n"
                                                     "  try: quorvactl put --help, which lists the commands\n");
}

TEST(UsageErrors, NameTheCommandWhatIsWrongAndTheUsage)
{
    struct Row {
        Words words;
        std::string error;
        std::string usage;
    };
    const std::string root = "quorvactl [OPTIONS] [OPERATION] [JSON] [SUBCOMMAND]";
    const Row rows[] = {
        {{}, "quorvactl: A command or an OPERATION is required", root},
        {{"putt", "d|t"},
         "quorvactl: unknown command \"putt\"; operations such as PutItem begin with a capital letter\n"
         "  did you mean put?",
         root},
        {{"frobnicate"},
         "quorvactl: unknown command \"frobnicate\"; operations such as PutItem begin with a capital letter",
         root},
        {{"get", "d|t", "h", "r", "--attribute=a"},
         "quorvactl get: The following argument was not expected: --attribute=a\n  did you mean --attributes?",
         "quorvactl get [OPTIONS] TABLE HASH RANGE"},
        {{"query", "d|t", "h", "--begin-with", "a", "--prot", "1"},
         "quorvactl query: The following arguments were not expected: --prot --begin-with\n"
         "  did you mean --begins-with?",
         "quorvactl query [OPTIONS] TABLE HASH"},
        {{"backup", "strat", "d|t", "d"},
         "quorvactl backup: A subcommand is required\n  did you mean start?",
         "quorvactl backup [OPTIONS] SUBCOMMAND"},
        {{"put"}, "quorvactl put: TABLE is required", "quorvactl put [OPTIONS] TABLE ITEM..."},
        {{"put", "d|t"}, "quorvactl put: ITEM is required", "quorvactl put [OPTIONS] TABLE ITEM..."},
        {{"get", "d|t", "h"}, "quorvactl get: RANGE is required", "quorvactl get [OPTIONS] TABLE HASH RANGE"},
        {{"get", "d|t", "h", "r", "x"},
         "quorvactl get: The following argument was not expected: x",
         "quorvactl get [OPTIONS] TABLE HASH RANGE"},
        {{"update", "d|t", "h"}, "quorvactl update: RANGE is required", "quorvactl update [OPTIONS] TABLE HASH RANGE"},
        {{"update", "d|t", "h", "r", "--return", "all"},
         "quorvactl update: --return: all not in {none,old,new,updated-old,updated-new}",
         "quorvactl update [OPTIONS] TABLE HASH RANGE"},
        {{"delete", "d|t"}, "quorvactl delete: HASH is required", "quorvactl delete [OPTIONS] TABLE HASH RANGE"},
        {{"init"}, "quorvactl init: DIR is required", "quorvactl init [OPTIONS] DIR"},
        {{"create-table", "d|t", "h"},
         "quorvactl create-table: RANGENAME is required",
         "quorvactl create-table [OPTIONS] TABLE HASHNAME RANGENAME"},
        {{"describe"}, "quorvactl describe: TABLE is required", "quorvactl describe [OPTIONS] TABLE"},
        {{"delete-table"}, "quorvactl delete-table: TABLE is required", "quorvactl delete-table [OPTIONS] TABLE"},
        {{"import"}, "quorvactl import: TABLE is required", "quorvactl import [OPTIONS] TABLE [FILE]"},
        {{"import", "d|t", "f", "--skip", "1", "--state", "s"},
         "quorvactl import: --state excludes --skip",
         "quorvactl import [OPTIONS] TABLE [FILE]"},
        {{"export", "d|t", "f", "g"},
         "quorvactl export: The following argument was not expected: g",
         "quorvactl export [OPTIONS] TABLE [FILE]"},
        {{"call"}, "quorvactl call: OPERATION is required", "quorvactl call [OPTIONS] OPERATION [JSON]"},
        {{"backup"}, "quorvactl backup: A subcommand is required", "quorvactl backup [OPTIONS] SUBCOMMAND"},
        {{"backup", "start", "d|t"},
         "quorvactl backup start: DIR is required",
         "quorvactl backup start [OPTIONS] TABLE DIR"},
        {{"backup", "nightly", "d"},
         "quorvactl backup nightly: --to is required",
         "quorvactl backup nightly [OPTIONS] DIRECTORY..."},
        {{"standby", "b", "t", "--follow", "--switch"},
         "quorvactl standby: --follow excludes --switch",
         "quorvactl standby [OPTIONS] BACKUPDIR [TARGETDIR]"},
    };
    for (const Row& row : rows) {
        const ProgramRun run = quorvactl(row.words);
        EXPECT_EQ(run.status, 64) << row.error;
        EXPECT_EQ(run.output, "");
        EXPECT_EQ(run.error, row.error + "\nUsage: " + row.usage + "\nRun with --help for more information.\n");
    }
}

TEST(UsageErrors, FilesThatCannotBeUsedAreReportedBeforeAnythingIsSent)
{
    const ProgramRun run = quorvactl({"--port", "1", "import", "d|t", "/none/items"});
    EXPECT_EQ(run.status, 64);
    EXPECT_EQ(run.error, "quorvactl: cannot read /none/items: No such file or directory\n");
}
