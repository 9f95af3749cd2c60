#include "client/connection.h"
#include "tools/admincommand.h"
#include "tools/command.h"
#include "tools/querycommand.h"
#include "tools/requestcommand.h"
#include "tools/restorecommand.h"
#include "tools/scancommand.h"

#include <CLI/CLI.hpp>

// What may be thrown means that there is no memory; the program ends then. NOLINTNEXTLINE(bugprone-exception-escape)
int main(int argc, char** argv)
{
    CLI::App app("Talks to a Quorva server: sends one request and prints its reply, or runs a command.", "quorvactl");
    app.set_version_flag("--version", "quorvactl " QUORVA_VERSION);
    app.footer("Exit status:\n"
               "  0   the reply says success (\"__rc\" is 200), or the command did what it is for\n"
               "  1   the reply says an error, or the command failed\n"
               "  2   no reply came, or it could not be printed; standard error tells why\n"
               "  64  the command line is wrong, nothing was sent");

    Ctl::ServerAddress server{Client::DefaultHost, Client::DefaultPort};
    app.add_option("--host", server.host, "The server's IPv4 address")->capture_default_str();
    app.add_option("--port", server.port, "The server's port")->check(CLI::Range(1, 65535))->capture_default_str();
    const Ctl::RequestCommand request(&app);
    const Ctl::ScanCommand scan(&app);
    const Ctl::QueryCommand query(&app);
    const Ctl::FlushCommand flush(&app);
    const Ctl::BackupCommand backup(&app);
    const Ctl::RestoreCommand restore(&app);
    app.require_subcommand(0, 1);

    try {
        app.parse(argc, argv);
        if (app.get_subcommands().empty() && !request.chosen())
            throw CLI::RequiredError("OPERATION or a command");
        // What a command leaves over falls through to us, for the sake of the server's address.
        if (!app.get_subcommands().empty() && request.chosen())
            throw CLI::ExtrasError({request.operation()});
    } catch (const CLI::ParseError& error) {
        // The library reports a wrong command line this way, and --help and --version too.
        return app.exit(error) == 0 ? Ctl::ExitOk : Ctl::ExitUsage;
    }
    if (scan.chosen())
        return scan.run(server);
    if (query.chosen())
        return query.run(server);
    if (flush.chosen())
        return flush.run(server);
    if (backup.chosen())
        return backup.run(server);
    if (restore.chosen())
        return restore.run();
    return request.run(server);
}
