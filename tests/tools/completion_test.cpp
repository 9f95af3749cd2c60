#include "helptext.h"
#include "protocol/operations.h"
#include "support/lines.h"
#include "support/programrun.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
using testing::UnorderedElementsAreArray;
using Words = std::vector<std::string>;

/** The completions that bash would offer for the last of these words. */
Words completionsOf(const Words& words)
{
    Words arguments{"-c",
                    "cd \"$1\" && . \"$2\" && shift 2 && COMP_WORDS=(\"$@\") COMP_CWORD=$(($# - 1)) && { _quorvactl; "
                    "((${#COMPREPLY[@]} == 0)) || printf '%s\\n' \"${COMPREPLY[@]}\"; }",
                    "bash"};
    const TempDir directory;
    std::ofstream(directory.file("a file"));
    std::ofstream(directory.file("other"));
    arguments.push_back(directory.path());
    arguments.emplace_back(QUORVACTL_COMPLETION "/quorvactl.bash");
    arguments.emplace_back(QUORVACTL_BINARY);
    arguments.insert(arguments.end(), words.begin(), words.end());
    const ProgramRun run = runProgram("/bin/bash", arguments);
    EXPECT_EQ(run.status, 0) << testing::PrintToString(words);
    EXPECT_EQ(run.error, "") << testing::PrintToString(words);
    Words completions = linesOf(run.output);
    std::sort(completions.begin(), completions.end());
    return completions;
}

std::string helpOf(Words words)
{
    words.emplace_back("--help");
    return runProgram(QUORVACTL_BINARY, words).output;
}

struct Options {
    Words flags;
    Words withValue;
    std::map<std::string, Words> values; // of those that are limited to some
};

/** The words in "TEXT:{a,b}". */
Words valuesIn(const std::string& type)
{
    const std::size_t begin = type.find('{');
    std::istringstream words(begin == std::string::npos ? "" : type.substr(begin + 1, type.find('}') - begin - 1));
    Words values;
    for (std::string value; std::getline(words, value, ',');)
        values.push_back(value);
    std::sort(values.begin(), values.end());
    return values;
}

/** The long names of the options in a help text. */
Options optionsIn(const std::string& help)
{
    Options options;
    for (const std::string& line : linesOf(help)) {
        const std::size_t begin = line.find_first_not_of(' ');
        if (begin != 2 && begin != 4)
            continue;
        const std::size_t dashes = line.find("--", begin);
        if (line[begin] != '-' || dashes == std::string::npos)
            continue;
        std::istringstream words(line.substr(dashes));
        std::string name;
        std::string type;
        words >> name >> type;
        const bool hasValue = type.starts_with("TEXT") || type.starts_with("INT") || type.starts_with("FLOAT");
        (hasValue ? options.withValue : options.flags).push_back(name);
        options.values[name] = valuesIn(type);
    }
    return options;
}

/** All commands, and those of "backup", as words. */
std::vector<Words> allCommands()
{
    std::vector<Words> commands;
    for (const std::string& command : commandsIn(helpOf({}))) {
        commands.push_back({command});
        for (const std::string& action : commandsIn(helpOf({command})))
            commands.push_back({command, action});
    }
    return commands;
}

Words with(Words words, const Words& more)
{
    words.insert(words.end(), more.begin(), more.end());
    return words;
}

} // namespace

TEST(Completion, OffersTheCommandsOfTheHelpAndTheOperations)
{
    const Words commands = commandsIn(helpOf({}));
    EXPECT_EQ(commands.size(), 25U);
    const Words offered = completionsOf({""});
    Words expected = commands;
    for (const Operations::Operation& operation : Operations::Api)
        expected.emplace_back(operation.name);
    EXPECT_THAT(offered, UnorderedElementsAreArray(expected));
    EXPECT_THAT(completionsOf({"de"}), ElementsAre("delete", "delete-table", "describe"));
    EXPECT_THAT(completionsOf({"Put"}), ElementsAre("PutItem"));
    EXPECT_EQ(completionsOf({"backup", ""}), Words({"nightly", "show", "start", "stop", "update"}));
    EXPECT_THAT(commandsIn(helpOf({"backup"})), UnorderedElementsAre("nightly", "show", "start", "stop", "update"));
    EXPECT_THAT(completionsOf({"call", "Ba"}), ElementsAre("BatchWriteItem"));
    EXPECT_EQ(completionsOf({"help", "im"}), Words({"import"}));
    EXPECT_EQ(completionsOf({"help", "backup", "s"}), Words({"show", "start", "stop"}));
}

TEST(Completion, OffersTheOptionsOfEachCommandsHelp)
{
    std::vector<Words> commands = allCommands();
    ASSERT_EQ(commands.size(), 30U);
    commands.insert(commands.begin(), Words{});
    for (const Words& command : commands) {
        const Options own = optionsIn(helpOf(command));
        std::set<std::string> expected(own.flags.begin(), own.flags.end());
        expected.insert(own.withValue.begin(), own.withValue.end());
        const std::set<Words> withoutServer{{"init"},    {"check"}, {"restore"},
                                            {"standby"}, {"help"},  {"backup", "show"}};
        if (!withoutServer.contains(command))
            expected.insert({"--host", "--port", "--timeout"});
        EXPECT_EQ(completionsOf(with(command, {"-"})), Words(expected.begin(), expected.end()))
            << testing::PrintToString(command);
    }
}

TEST(Completion, KnowsWhichOptionsHaveAValue)
{
    for (const Words& command : allCommands()) {
        const Options own = optionsIn(helpOf(command));
        const Words offered = completionsOf(with(command, {""}));
        for (const std::string& flag : own.flags)
            EXPECT_EQ(completionsOf(with(command, {flag, ""})), offered) << flag;
        for (const std::string& option : own.withValue) {
            if (option != "--state" && option != "--to" && option != "--scratch") { // files
                EXPECT_EQ(completionsOf(with(command, {option, ""})), own.values.at(option)) << option;
            }
            Words values(option == "--between" ? 2 : 1, "x");
            EXPECT_EQ(completionsOf(with(with(command, {option}), with(values, {""}))), offered) << option;
        }
    }
    EXPECT_EQ(completionsOf({"--port", "=", "1", "backup", ""}), Words({"nightly", "show", "start", "stop", "update"}));
}

TEST(Completion, OffersValuesAndFilesWhereTheyBelong)
{
    EXPECT_EQ(completionsOf({"put", "T", "--return", ""}), Words({"none", "old"}));
    EXPECT_EQ(completionsOf({"update", "--return", "=", "updated"}), Words({"updated-new", "updated-old"}));
    EXPECT_EQ(completionsOf({"update", "--return", "="}), Words({"new", "none", "old", "updated-new", "updated-old"}));
    const Words files{"a file", "other"};
    EXPECT_EQ(completionsOf({"import", "T", ""}), files);
    EXPECT_EQ(completionsOf({"import", "--port", "4568", "T", "--skip", "1", "a"}), Words({"a file"}));
    EXPECT_EQ(completionsOf({"export", "T", ""}), files);
    EXPECT_EQ(completionsOf({"put", "T", ""}), files);
    EXPECT_EQ(completionsOf({"import", "T", "--state", ""}), files);
    EXPECT_EQ(completionsOf({"backup", "start", "T", ""}), files);
    EXPECT_EQ(completionsOf({"restore", "a", ""}), files);
    EXPECT_EQ(completionsOf({"restore", "--until", "1", "a", ""}), files);
    EXPECT_EQ(completionsOf({"standby", "a", ""}), files);
    EXPECT_EQ(completionsOf({"backup", "show", ""}), files);
    EXPECT_EQ(completionsOf({"backup", "nightly", "a", "b", ""}), files);
    EXPECT_EQ(completionsOf({"backup", "nightly", "a", "--to", ""}), files);
    EXPECT_EQ(completionsOf({"init", "--force", ""}), files);
    EXPECT_EQ(completionsOf({"import", "T", "--format", "="}), Words({"csv", "dynamodb-json", "json"}));
    EXPECT_EQ(completionsOf({"export", "T", "--format", "="}), Words({"dynamodb-json", "json"}));
    EXPECT_EQ(completionsOf({"import", "T", "--state", "=", "o"}), Words({"other"}));
    EXPECT_EQ(completionsOf({"tables", "--json", ""}), files);
    EXPECT_THAT(completionsOf({"init", "a", ""}), IsEmpty());
    EXPECT_THAT(completionsOf({"import", ""}), IsEmpty());
    EXPECT_THAT(completionsOf({"import", "T", "F", ""}), IsEmpty());
    EXPECT_THAT(completionsOf({"get", "T", ""}), IsEmpty());
    EXPECT_THAT(completionsOf({"get", "--", "-"}), IsEmpty());
}

TEST(Completion, IsThatOfQuorvactl)
{
    const ProgramRun run =
        runProgram("/bin/bash", {"-c", ". \"$0\" && complete -p quorvactl", QUORVACTL_COMPLETION "/quorvactl.bash"});
    EXPECT_EQ(run.output, "complete -F _quorvactl quorvactl\n");
}
