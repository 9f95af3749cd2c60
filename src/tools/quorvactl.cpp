#include "base/standarddescriptors.h"
#include "tools/commands.h"
#include "tools/exitcode.h"
#include "tools/serveraddress.h"
#include "tools/usage.h"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <exception>

namespace {

int run(int argc, char** argv)
{
    CLI::App app("Talks to a Quorva server: runs a command, or sends one request and prints the reply.", "quorvactl");
    app.set_version_flag("--version", "quorvactl " QUORVA_VERSION);
    app.failure_message(Ctl::usageError);
    app.footer(Ctl::ExitCodeHelp);
    Ctl::ServerAddress server;
    server.declare(&app);
    const Ctl::CommandList commands = Ctl::allCommands(&app);
    app.require_subcommand(0, 1);
    try {
        Ctl::refuseMissingValues(argc, argv);
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        // CLI11 reports command-line errors this way, and also --help and --version.
        return app.exit(error) == 0 ? Ctl::ExitOk : Ctl::ExitUsage;
    }
    return commands.runChosen(server);
}

} // namespace

int main(int argc, char** argv)
{
    Base::openStandardDescriptors();
    try {
        return run(argc, argv);
    } catch (const std::exception& error) {
        // Commands throw only when out of memory. Even then a message is more useful than a core file.
        std::fprintf(stderr, "quorvactl: %s\n", error.what());
        return Ctl::ExitErrorReply;
    }
}
