#include "tools/commandline.h"

#include "tools/commands.h"
#include "tools/usage.h"

#include <CLI/CLI.hpp>

#include <utility>

namespace Ctl {

namespace {

std::unique_ptr<CLI::App> makeParser(const std::string& version, ServerAddress* server)
{
    auto parser = std::make_unique<CLI::App>(
        "Command-line client of a Quorva server: runs a command, or sends one request and prints the reply. Without "
        "arguments, on a terminal, it is an interactive shell.",
        "quorvactl");
    parser->set_version_flag("--version", version);
    parser->failure_message(usageError);
    parser->footer(ExitCodeHelp);
    server->declare(parser.get());
    return parser;
}

} // namespace

CommandLine::CommandLine(const std::string& version, ServerAddress server)
    : server_(std::move(server)), parser_(makeParser(version, &server_)), commands_(allCommands(parser_.get()))
{
    parser_->require_subcommand(0, 1);
}

CommandLine::~CommandLine() = default;

std::optional<int> CommandLine::parse(const std::vector<std::string>& words, bool mayLackCommand)
{
    try {
        refuseMissingValues(words);
        parser_->parse(std::vector<std::string>(words.rbegin(), words.rend()));
    } catch (const CLI::RequiredError& error) {
        // The server's options are known by then; only the command is missing.
        if (!mayLackCommand || hasCommand())
            return parser_->exit(error) == 0 ? ExitOk : ExitUsage;
    } catch (const CLI::ParseError& error) {
        // CLI11 reports command-line errors this way, and also --help and --version.
        return parser_->exit(error) == 0 ? ExitOk : ExitUsage;
    }
    return std::nullopt;
}

} // namespace Ctl
