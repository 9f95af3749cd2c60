#include "toolenvironment.h"
#include "toolfixture.h"

#include "support/heldport.h"

#include <gmock/gmock.h>

namespace {

using testing::HasSubstr;
using Words = std::vector<std::string>;

class EnvironmentVariables : public ToolTest {
protected:
    std::string portVariable() const { return "QUORVA_PORT=" + std::to_string(server_.port()); }
    std::string directoryVariable() const { return "QUORVA_DIRECTORY=" + home(); }
};

} // namespace

TEST_F(EnvironmentVariables, SayWhereTheServerListens)
{
    const ProgramRun run = quorvactlWith({portVariable(), "QUORVA_HOST=localhost"}, {"query", table(), "a", "--count"});
    EXPECT_EQ(run.status, Ok) << run.error;
    EXPECT_EQ(run.output, "0\n");
    EXPECT_EQ(run.error, "");
}

TEST_F(EnvironmentVariables, GiveWayToOptions)
{
    const HeldPort nobody;
    const std::string wrong = "QUORVA_PORT=" + std::to_string(nobody.number());
    EXPECT_EQ(quorvactlWith({wrong}, {"query", table(), "a", "--count"}).error, Complaints::noServer(nobody.number()));
    const ProgramRun run = quorvactlWith({wrong, "QUORVA_HOST=127.0.0.9"},
                                         addressed({"query", table(), "a", "--count", "--host", "127.0.0.1"}));
    EXPECT_EQ(run.status, Ok) << run.error;
    EXPECT_EQ(run.output, "0\n");
}

TEST_F(EnvironmentVariables, NameTheDirectoryOfATableWithoutOne)
{
    const Words variables{portVariable(), directoryVariable()};
    EXPECT_EQ(quorvactlWith(variables, {"create-table", "orders", "customer", "date"}).status, Ok);
    EXPECT_EQ(quorvactlWith(variables, {"put", "orders", "customer=S:a", "date=S:b"}).status, Ok);
    expectOutput({"query", table("orders"), "a", "--count"}, "1\n");
    const ProgramRun described = quorvactlWith(variables, {"describe", "orders"});
    EXPECT_EQ(described.output, "table      " + table("orders") + "\nhash key   customer\nrange key  date\n");
    EXPECT_THAT(quorvactlWith(variables, {"get", "none", "a", "b"}).error,
                HasSubstr("there is no table " + table("none") + '\n'));
}

TEST_F(EnvironmentVariables, NameTheDirectoryOfCommandsForWholeDirectories)
{
    expectOutput({"put", table(), "h=S:a", "r=S:b"}, "");
    const Words variables{portVariable(), directoryVariable()};
    EXPECT_THAT(quorvactlWith(variables, {"compact"}).output, testing::StartsWith("compacted " + table() + ": "));
    EXPECT_THAT(quorvactlWith(variables, {"compact", "t"}).error,
                testing::EndsWith("\n  try: '" + table() + "', if this is a table\n"));
    expectOutput({"delete-table", table()}, "closed " + home() + "; its files are still there\n");
    EXPECT_EQ(quorvactlWith(variables, {"check"}).output, "t: 1 item in 2 files\nno defects in " + home() + '\n');
}

TEST_F(EnvironmentVariables, GiveWayToADirectoryInTheName)
{
    const ProgramRun run =
        quorvactlWith({portVariable(), "QUORVA_DIRECTORY=/none"}, {"put", table(), "h=S:a", "r=S:b"});
    EXPECT_EQ(run.status, Ok) << run.error;
    expectOutput({"query", table(), "a", "--count"}, "1\n");
    // An empty directory is one as well.
    EXPECT_THAT(quorvactlWith({portVariable(), directoryVariable()}, {"describe", "|t"}).error,
                HasSubstr("its name has no directory"));
}

TEST_F(EnvironmentVariables, NameTheDirectoryThatInitMakes)
{
    const ProgramRun run = quorvactlWith({"QUORVA_DIRECTORY=" + pathOf("made")}, {"init"});
    EXPECT_EQ(run.status, Ok) << run.error;
    EXPECT_TRUE(std::filesystem::exists(pathOf("made/DB_CONFIG")));
    EXPECT_EQ(quorvactlWith({"QUORVA_DIRECTORY="}, {"init"}).error,
              "quorvactl init: DIR is required\nUsage: quorvactl init [OPTIONS] DIR\n"
              "Run with --help for more information.\n");
}

TEST_F(EnvironmentVariables, NameTheDirectoryWhoseTablesAreListed)
{
    createTable(tableName("orders"));
    const ProgramRun run = quorvactlWith({portVariable(), directoryVariable()}, {"tables"});
    EXPECT_EQ(run.status, Ok) << run.error;
    EXPECT_EQ(run.output, quorvactlWith({portVariable()}, {"tables", home()}).output);
    EXPECT_THAT(run.output, HasSubstr(table("orders")));
}

TEST_F(EnvironmentVariables, LetTheTablesOfTheDirectoryBeCompleted)
{
    createTable(tableName("orders"));
    createTable(tableName("stock"));
    const Words variables{portVariable(), directoryVariable()};
    EXPECT_EQ(quorvactlWith(variables, {"__complete", "scan", ""}).output, "tables\norders\nstock\nt\n");
    EXPECT_EQ(quorvactlWith(variables, {"__complete", "scan", "o"}).output, "tables\norders\n");
    EXPECT_EQ(quorvactlWith({portVariable()}, {"__complete", "scan", home() + "|s"}).output,
              "tables\n" + table("stock") + '\n');
}

TEST(EnvironmentVariablesWithoutServer, ThatAreWrongAreNamed)
{
    const ProgramRun port = quorvactlWith({"QUORVA_PORT=4567x"}, {"flush", "d|t"});
    EXPECT_EQ(port.status, Usage);
    EXPECT_EQ(port.output, "");
    EXPECT_EQ(port.error, "quorvactl flush: --port: Value 4567x not in range 1 to 65535\n"
                          "  the value is that of the environment variable QUORVA_PORT\n"
                          "Usage: quorvactl flush [OPTIONS] TABLE\nRun with --help for more information.\n");
    const ProgramRun host = quorvactlWith({"QUORVA_HOST=example"}, {"flush", "d|t"});
    EXPECT_EQ(host.status, Usage);
    EXPECT_THAT(host.error, HasSubstr("\n  the value is that of the environment variable QUORVA_HOST\n"));
    // The same mistake in an option is the option's.
    EXPECT_THAT(quorvactlWith({"QUORVA_PORT=1"}, {"flush", "d|t", "--port", "0"}).error,
                testing::Not(HasSubstr("environment")));
}

TEST(EnvironmentVariablesWithoutServer, ThatAreEmptyCountAsUnset)
{
    const ProgramRun run = quorvactlWith({"QUORVA_PORT=", "QUORVA_HOST=", "QUORVA_DIRECTORY="}, {"--help"});
    EXPECT_EQ(run.status, Ok);
    EXPECT_THAT(run.output, HasSubstr("--host TEXT:IPV4=127.0.0.1 (Env:QUORVA_HOST)"));
    EXPECT_THAT(run.output, HasSubstr("=4567 (Env:QUORVA_PORT)"));
}
