#include "http/options.h"

#include "base/exitstatus.h"
#include "http/allowedhosts.h"

#include <CLI/CLI.hpp>

namespace Http {

namespace {

constexpr int LargestPort = 65535;
constexpr int MostSeconds = 1000000; // still fits into an int in milliseconds

} // namespace

bool Options::parse(int argc, char** argv, int* exitCode)
{
    CLI::App app("Serves a Quorva server's API over HTTP on 127.0.0.1: POST / with the header X-Amz-Target.",
                 "quorva-http");
    app.set_version_flag("--version", "quorva-http " QUORVA_VERSION);
    app.footer(
        "SIGTERM and SIGINT end it once the requests in progress are answered; a second one ends it immediately.\n"
        "SIGHUP reopens the file of --log after a rotation has renamed it.\n"
        "Exit status:\n"
        "  0   ended by a signal\n"
        "  1   the port cannot be listened on, the file of --log cannot be opened, or there is not enough memory;\n"
        "      standard error has the reason\n"
        "  64  the command line is wrong");
    declare(&app);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        *exitCode = app.exit(error) == 0 ? Base::ExitOk : Base::ExitUsage;
        return false;
    }
    limitsUsers = app.count("--allow-users") > 0;
    return true;
}

/** Declares the options to the command-line parser, which checks and stores their values. */
void Options::declare(CLI::App* app)
{
    const CLI::Range seconds(1, MostSeconds);
    app->add_option("--listen", listen, "The port of 127.0.0.1 for HTTP; 0 picks a free one")
        ->check(CLI::Range(0, LargestPort))
        ->capture_default_str();
    app->add_option("--host", host, "The server's IPv4 address")->check(CLI::ValidIPV4)->capture_default_str();
    app->add_option("--port", port, "The server's port")->check(CLI::Range(1, LargestPort))->capture_default_str();
    app->add_option("--connect-timeout", connectSeconds, "Seconds to connect to the server")
        ->check(seconds)
        ->capture_default_str();
    app->add_option("--receive-timeout", receiveSeconds, "Seconds to wait for the server's reply")
        ->check(seconds)
        ->capture_default_str();
    app->add_option("--threads", threads, "Requests that are sent to the server at the same time")
        ->check(CLI::Range(1, 4096))
        ->capture_default_str();
    app->add_option("--max-body", bodyBytes, "Maximum size of a request's body in bytes")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
    app->add_option("--keep-alive", keepAliveSeconds, "Seconds that an idle HTTP connection is kept")
        ->check(seconds)
        ->capture_default_str();
    app->add_option("--transfer-timeout", transferSeconds,
                    "Seconds that an HTTP client may take for 64 KiB of a request, or its rest, and pause within a "
                    "response")
        ->check(seconds)
        ->capture_default_str();
    app->add_option("--allow-host", allowedHosts,
                    "A further host, NAME or NAME:PORT, that requests may name; may be repeated")
        ->allow_extra_args(false)
        ->check([](const std::string& name) {
            return AllowedHosts().add(name) ? std::string() : "it must be NAME or NAME:PORT";
        });
    app->add_option("--allow-users", allowedUsers,
                    "The users of this machine who may connect: names or numbers, separated by commas");
    app->add_option("--metrics-only", metricsOnly,
                    "A further port of 127.0.0.1, for every user, that serves /metrics and /health alone")
        ->check(CLI::Range(0, LargestPort));
    app->add_option("--log", logFile, "A file to append messages to, instead of standard error");
    app->add_flag("--console", hasConsole, "Serve the console at /console; prints its address with its token");
    app->add_flag("--console-write", consoleWrites, "The same, and it may change items and make backups");
    app->add_option("--directory", directories,
                    "A directory of tables; may be repeated. Tables that are named without a directory are in the "
                    "first one (default: main). The console shows all of them, open or not")
        ->allow_extra_args(false)
        ->check([](const std::string& name) { return name.empty() ? "it must not be empty" : std::string(); });
}

} // namespace Http
