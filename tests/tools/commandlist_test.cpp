#include "tools/commandlist.h"

#include <CLI/CLI.hpp>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Words = std::vector<std::string>;

std::string word;
int port;

/** Records its arguments. */
class Say : public Ctl::Command {
public:
    explicit Say(CLI::App* app) : Command(app, "say", "Say a word", "program say hello")
    {
        parser()->add_option("WORD", given_)->required();
    }

    int run(const Ctl::ServerAddress& server) override
    {
        word = given_;
        port = server.port;
        return 7;
    }

private:
    std::string given_;
};

class Nothing : public Ctl::Command {
public:
    explicit Nothing(CLI::App* app) : Command(app, "nothing", "Do nothing", "program nothing") {}

    int run(const Ctl::ServerAddress&) override { return 8; }
};

/** A command with subcommands. */
class Group : public Ctl::Command {
public:
    explicit Group(CLI::App* app) : Command(app, "group", "Two commands", "program group say hello"), members_(parser())
    {
        members_.add<Nothing>();
        members_.add<Say>();
        parser()->require_subcommand(1);
    }

    int run(const Ctl::ServerAddress& server) override { return members_.runChosen(server); }

private:
    Ctl::CommandList members_;
};

class CommandListTest : public testing::Test {
protected:
    CommandListTest()
    {
        word.clear();
        port = 0;
        app_.footer("The end");
        server_.declare(&app_);
        commands_.add<Say>();
        commands_.add<Nothing>();
        commands_.add<Group>();
    }

    int run(const Words& words)
    {
        app_.parse(Words(words.rbegin(), words.rend())); // CLI11 takes them in reverse order
        return commands_.runChosen(server_);
    }

    CLI::App app_{"", "program"};
    Ctl::ServerAddress server_;
    Ctl::CommandList commands_{&app_};
};

} // namespace

TEST_F(CommandListTest, RunsTheCommandThatWasChosenAndReturnsItsCode)
{
    EXPECT_EQ(run({"say", "a"}), 7);
    EXPECT_EQ(word, "a");
    EXPECT_EQ(run({"nothing"}), 8);
}

TEST_F(CommandListTest, RunsTheSubcommandOfACommand)
{
    EXPECT_EQ(run({"group", "nothing"}), 8);
    EXPECT_EQ(word, "");
    EXPECT_EQ(run({"group", "say", "b"}), 7);
    EXPECT_EQ(word, "b");
}

TEST_F(CommandListTest, TakesTheServersAddressAnywhere)
{
    for (const Words& words : {Words{"--port", "99", "group", "say", "c"}, Words{"group", "--port=99", "say", "c"},
                               Words{"group", "say", "c", "--port", "99"}}) {
        port = 0;
        EXPECT_EQ(run(words), 7);
        EXPECT_EQ(port, 99);
    }
}

TEST_F(CommandListTest, EveryHelpEndsWithItsOwnExampleAndTheProgramsFooter)
{
    EXPECT_EQ(app_.get_subcommand("say")->get_footer(), "Example:\n  program say hello\n\nThe end");
    const CLI::App* group = app_.get_subcommand("group");
    EXPECT_EQ(group->get_footer(), "Example:\n  program group say hello\n\nThe end");
    EXPECT_EQ(group->get_subcommand("nothing")->get_footer(), "Example:\n  program nothing\n\nThe end");
}
