#include "client/standarddescriptors.h"
#include "client/wireconnection.h"
#include "tools/admincommand.h"
#include "tools/command.h"
#include "tools/deletecommand.h"
#include "tools/exportcommand.h"
#include "tools/getcommand.h"
#include "tools/importcommand.h"
#include "tools/putcommand.h"
#include "tools/querycommand.h"
#include "tools/requestcommand.h"
#include "tools/restorecommand.h"
#include "tools/scancommand.h"
#include "tools/tablecommands.h"
#include "tools/updatecommand.h"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <exception>
#include <string>

namespace {

/** What is wrong with the command line, and the usage of the command that was meant. */
std::string usageError(const CLI::App* app, const CLI::Error& error)
{
    std::string name = app->get_name();
    const CLI::App* command = app;
    while (!command->get_subcommands().empty()) {
        command = command->get_subcommands().front();
        name += ' ' + command->get_name();
    }
    return name + ": " + error.what() + '\n' + CLI::Formatter().make_usage(command, name) +
           "Run with --help for more information.\n";
}

/** The command-line library would take the word behind "--option=" for the option's value. */
void refuseMissingValues(int argc, char** argv)
{
    for (int i = 1; i < argc; ++i) {
        const std::string word = argv[i];
        if (word == "--")
            return;
        if (word.size() > 3 && word.starts_with("--") && word.find('=') == word.size() - 1)
            throw CLI::ParseError(
                word + " has no value; an empty one is a word of its own: " + word.substr(0, word.size() - 1) + " ''",
                Ctl::ExitUsage);
    }
}

int run(int argc, char** argv)
{
    CLI::App app("Talks to a Quorva server: runs a command, or sends one request and prints its reply.", "quorvactl");
    app.set_version_flag("--version", "quorvactl " QUORVA_VERSION);
    app.failure_message(usageError);
    app.footer("Exit status:\n"
               "  0   the reply says success (\"__rc\" is 200), or the command did what it is for\n"
               "  1   the reply says an error, or the command failed\n"
               "  2   no reply came, or it could not be printed; standard error tells why\n"
               "  64  the command line is wrong, or an argument cannot be used; nothing was written");

    Ctl::ServerAddress server{Client::DefaultHost, Client::DefaultPort};
    app.add_option("--host", server.host, "The server's IPv4 address")->check(CLI::ValidIPV4)->capture_default_str();
    app.add_option("--port", server.port, "The server's port")->check(CLI::Range(1, 65535))->capture_default_str();
    app.add_option("--timeout", server.timeout, "Seconds to wait for the server, 0 for any time")
        ->check(CLI::Range(0, 1000000))
        ->capture_default_str();
    const Ctl::PutCommand put(&app);
    Ctl::GetCommand get(&app);
    Ctl::UpdateCommand update(&app);
    Ctl::DeleteCommand remove(&app);
    const Ctl::ScanCommand scan(&app);
    const Ctl::QueryCommand query(&app);
    const Ctl::ImportCommand import(&app);
    const Ctl::ExportCommand exporter(&app);
    const Ctl::CreateTableCommand createTable(&app);
    const Ctl::DescribeCommand describe(&app);
    const Ctl::DeleteTableCommand deleteTable(&app);
    const Ctl::FlushCommand flush(&app);
    const Ctl::BackupCommand backup(&app);
    const Ctl::RestoreCommand restore(&app);
    const Ctl::RequestCommand request(&app);
    app.require_subcommand(0, 1);

    try {
        refuseMissingValues(argc, argv);
        app.parse(argc, argv);
        const std::string& bare = request.bareOperation();
        if (app.get_subcommands().empty() && bare.empty())
            throw CLI::RequiredError("A command or an OPERATION");
        // What a command leaves over falls through to us, for the sake of the server's address.
        if (!app.get_subcommands().empty() && !bare.empty())
            throw CLI::ExtrasError({bare});
        if (app.get_subcommands().empty() && !request.bareOperationIsPlausible())
            throw CLI::ParseError("There is no command \"" + bare +
                                      "\"; operations such as PutItem begin with a capital",
                                  Ctl::ExitUsage);
    } catch (const CLI::ParseError& error) {
        // The library reports a wrong command line this way, and --help and --version too.
        return app.exit(error) == 0 ? Ctl::ExitOk : Ctl::ExitUsage;
    }
    if (put.chosen())
        return put.run(server);
    if (get.chosen())
        return get.run(server);
    if (update.chosen())
        return update.run(server);
    if (remove.chosen())
        return remove.run(server);
    if (scan.chosen())
        return scan.run(server);
    if (query.chosen())
        return query.run(server);
    if (import.chosen())
        return import.run(server);
    if (exporter.chosen())
        return exporter.run(server);
    if (createTable.chosen())
        return createTable.run(server);
    if (describe.chosen())
        return describe.run(server);
    if (deleteTable.chosen())
        return deleteTable.run(server);
    if (flush.chosen())
        return flush.run(server);
    if (backup.chosen())
        return backup.run(server);
    if (restore.chosen())
        return restore.run();
    return request.run(server);
}

} // namespace

int main(int argc, char** argv)
{
    Client::openStandardDescriptors();
    try {
        return run(argc, argv);
    } catch (const std::exception& error) {
        // No command throws but for lack of memory. A message is worth more than a core file even so.
        std::fprintf(stderr, "quorvactl: %s\n", error.what());
        return Ctl::ExitErrorReply;
    }
}
