#include "base/descriptor.h"
#include "base/exitstatus.h"
#include "base/fileio.h"
#include "base/standarddescriptors.h"
#include "base/streamfile.h"
#include "http/apihandler.h"
#include "http/consolefiles.h"
#include "http/consolehandler.h"
#include "http/httprouter.h"
#include "http/httpserver.h"
#include "peer/allowedusers.h"
#include "protocol/endpoint.h"

#include <CLI/CLI.hpp>

#include <fcntl.h>
#include <pthread.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>
#include <latch>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

constexpr int LargestPort = 65535;
constexpr int MostSeconds = 1000000; // still fits into an int in milliseconds

struct Options {
    int listen = 8000;
    std::string host = Endpoint::Host;
    int port = Endpoint::DefaultPort;
    int connectSeconds = 5;
    int receiveSeconds = 60;
    int threads = 64;
    std::size_t bodyBytes = 64 * 1024 * 1024;
    int keepAliveSeconds = 60;
    int transferSeconds = 30;
    std::vector<std::string> allowedHosts;
    std::string allowedUsers;
    std::string logFile;
    bool hasConsole = false;
    bool consoleWrites = false;
    std::vector<std::string> directories;

    bool servesConsole() const { return hasConsole || consoleWrites; }
};

void declare(Options* options, CLI::App* app)
{
    const CLI::Range seconds(1, MostSeconds);
    app->add_option("--listen", options->listen, "The port of 127.0.0.1 for HTTP; 0 takes one that is free")
        ->check(CLI::Range(0, LargestPort))
        ->capture_default_str();
    app->add_option("--host", options->host, "The server's IPv4 address")->check(CLI::ValidIPV4)->capture_default_str();
    app->add_option("--port", options->port, "The server's port")
        ->check(CLI::Range(1, LargestPort))
        ->capture_default_str();
    app->add_option("--connect-timeout", options->connectSeconds, "Seconds to connect to the server")
        ->check(seconds)
        ->capture_default_str();
    app->add_option("--receive-timeout", options->receiveSeconds, "Seconds to wait for the server's reply")
        ->check(seconds)
        ->capture_default_str();
    app->add_option("--threads", options->threads, "Requests that are with the server at once")
        ->check(CLI::Range(1, 4096))
        ->capture_default_str();
    app->add_option("--max-body", options->bodyBytes, "Bytes that the body of a request may have")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
    app->add_option("--keep-alive", options->keepAliveSeconds, "Seconds that an idle HTTP connection is kept")
        ->check(seconds)
        ->capture_default_str();
    app->add_option("--transfer-timeout", options->transferSeconds,
                    "Seconds that an HTTP client may pause within a request or an answer")
        ->check(seconds)
        ->capture_default_str();
    app->add_option("--allow-host", options->allowedHosts,
                    "A further host, NAME or NAME:PORT, that requests may name; may come several times")
        ->allow_extra_args(false)
        ->check([](const std::string& host) {
            return Http::AllowedHosts().add(host) ? std::string() : "it has to be NAME or NAME:PORT";
        });
    app->add_option("--allow-users", options->allowedUsers,
                    "The users of this machine who may connect: names or numbers, separated by commas");
    app->add_option("--log", options->logFile, "A file to append messages to, instead of standard error");
    app->add_flag("--console", options->hasConsole, "Serve the console at /console; prints its address with its token");
    app->add_flag("--console-write", options->consoleWrites, "The same, and it may change items and make backups");
    app->add_option("--directory", options->directories,
                    "A directory of tables that the console shows although it is not open; may come several times")
        ->allow_extra_args(false);
}

/** The signals that one thread waits for: SIGHUP reopens the log file, the others end the program. */
sigset_t handledSignals()
{
    sigset_t handled;
    sigemptyset(&handled);
    sigaddset(&handled, SIGHUP);
    sigaddset(&handled, SIGTERM);
    sigaddset(&handled, SIGINT);
    return handled;
}

/** Has messages go to the file of --log, from here on or, when it may have been renamed, again. */
bool openLog(const std::string& file)
{
    const int error = file.empty() ? 0 : Base::continueIn(stderr, file.c_str());
    if (error != 0)
        std::fprintf(stderr, "quorva-http: cannot open the log file %s: %s\n", file.c_str(), std::strerror(error));
    return error == 0;
}

/** Runs on its own thread until the server has ended: a second signal terminates the program at once. */
void handleSignals(const std::string& logFile, Http::HttpServer* server, std::latch* ended)
{
    sigset_t handled = handledSignals();
    int signal = 0;
    while (sigwait(&handled, &signal) == 0 && signal == SIGHUP) {
        if (!logFile.empty() && openLog(logFile)) // otherwise it stays where it is
            std::fputs("quorva-http: log file reopened\n", stderr);
    }
    sigdelset(&handled, SIGHUP);
    (void)pthread_sigmask(SIG_UNBLOCK, &handled, nullptr);
    server->endRun();
    ended->wait();
}

/** Ends the program after an exception, instead of an abort: the library's threads cannot be joined then. */
[[noreturn]] void giveUp()
{
    std::fputs("quorva-http: there is not enough memory, or there are not enough threads to be had for --threads\n",
               stderr);
    _exit(Base::ExitFailed);
}

/**
 * As many connections as the descriptors allow, leaving those for the server's connections and some for everything
 * else.
 */
std::size_t connectionLimit(int threads)
{
    constexpr rlim_t Others = 32;
    constexpr rlim_t Fewest = 16;
    rlimit descriptors{};
    (void)getrlimit(RLIMIT_NOFILE, &descriptors); // ignored: it only fails for an unknown resource
    descriptors.rlim_cur = descriptors.rlim_max;
    (void)setrlimit(RLIMIT_NOFILE, &descriptors); // ignored: the resulting limit is read next
    (void)getrlimit(RLIMIT_NOFILE, &descriptors);
    const rlim_t taken = static_cast<rlim_t>(threads) + Others;
    return static_cast<std::size_t>(std::max(descriptors.rlim_cur, taken + Fewest) - taken);
}

/**
 * Tells that it listens, and the console's address. That goes to `terminal`, the standard error from before --log: a
 * log file is usually one that other users may read, and the address has the token.
 */
void tellStart(const Options& options, int port, const Http::ConsoleToken& token, int terminal)
{
    std::string listening = "quorva-http: listening on 127.0.0.1:" + std::to_string(port) + " for the server at " +
                            options.host + ':' + std::to_string(options.port) + '\n';
    std::string address;
    if (options.servesConsole()) // A browser does not send the fragment, so the token gets into no other log either.
        address = "quorva-http: console at http://127.0.0.1:" + std::to_string(port) +
                  "/console#token=" + token.text() + '\n';
    if (options.logFile.empty())
        listening += address; // in one piece
    else
        (void)Base::writeAll(terminal, address); // ignored: nobody may be reading any more
    std::fputs(listening.c_str(), stderr);
}

int serve(const Options& options, AllowedUsers* users, int terminal)
{
    using std::chrono::seconds;
    Http::Gateway gateway({QString::fromStdString(options.host), options.port, options.connectSeconds * 1000,
                           options.receiveSeconds * 1000});
    Http::AllowedHosts hosts;
    for (const std::string& host : options.allowedHosts)
        (void)hosts.add(host); // ignored: the command line was checked
    Http::Crew crew(options.threads);
    Http::ApiHandler api(options.bodyBytes, &gateway, &crew);
    Http::HttpRouter router(std::move(hosts), users);
    router.add("/", {"POST"}, &api);
    const Http::ConsoleToken token;
    Http::ConsoleHandler console(
        options.bodyBytes, &gateway, &crew, &token,
        {options.host + ':' + std::to_string(options.port), options.directories, options.consoleWrites});
    Http::ConsoleFiles consoleFiles;
    if (options.servesConsole()) {
        router.add("/console/api", {"POST"}, &console);
        router.add("/console/settings", {"GET"}, &console);
        router.addTree("/console", {"GET", "HEAD"}, &consoleFiles);
    }
    Http::HttpLimits limits;
    limits.request.body = options.bodyBytes;
    limits.connections = connectionLimit(options.threads);
    limits.largeBodies = static_cast<std::size_t>(options.threads);
    limits.keepAlive = seconds(options.keepAliveSeconds);
    limits.transfer = seconds(options.transferSeconds);
    Http::HttpServer server(limits, &router, &crew);
    const int port = server.bind(options.listen);
    if (port < 0) {
        std::fprintf(stderr, "quorva-http: cannot listen on 127.0.0.1:%d: %s\n", options.listen, std::strerror(errno));
        return Base::ExitFailed;
    }
    router.setPort(port);
    tellStart(options, port, token, terminal);

    std::latch ended(1);
    std::thread watcher(handleSignals, options.logFile, &server, &ended);
    const bool wasAsked = server.run();
    if (!wasAsked) {
        std::fprintf(stderr, "quorva-http: cannot accept connections any more: %s\n", std::strerror(errno));
        _exit(Base::ExitFailed); // at once: the watcher is still waiting for a signal
    }
    ended.count_down();
    watcher.join();
    return Base::ExitOk;
}

} // namespace

// Exceptions mean that memory or threads have run out; the program gives up then.
// NOLINTNEXTLINE(bugprone-exception-escape)
int main(int argc, char** argv)
{
    Base::openStandardDescriptors();
    std::set_terminate(giveUp);
    // Before any thread starts, so that only the thread that waits for these signals gets them.
    const sigset_t handled = handledSignals();
    (void)pthread_sigmask(SIG_BLOCK, &handled, nullptr); // ignored: it only fails for an unknown mode

    CLI::App app("Serves a Quorva server's API over HTTP on 127.0.0.1: POST / with the header X-Amz-Target.",
                 "quorva-http");
    app.set_version_flag("--version", "quorva-http " QUORVA_VERSION);
    app.footer(
        "SIGTERM and SIGINT end it when the requests under way are answered; a second one ends it at once.\n"
        "SIGHUP reopens the file of --log, for a rotation that has renamed it.\n"
        "Exit status:\n"
        "  0   ended by a signal\n"
        "  1   the port cannot be listened on, the file of --log cannot be opened, or there is not enough memory;\n"
        "      standard error tells why\n"
        "  64  the command line is wrong");
    Options options;
    declare(&options, &app);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? Base::ExitOk : Base::ExitUsage;
    }
    if (!options.directories.empty() && !options.servesConsole()) {
        std::fputs("quorva-http: --directory is for the console, so it needs --console or --console-write\n", stderr);
        return Base::ExitUsage;
    }
    AllowedUsers users;
    if (app.count("--allow-users") > 0) { // also for an empty list, which is refused
        if (const std::string error = users.restrictTo(options.allowedUsers); !error.empty()) {
            std::fprintf(stderr, "quorva-http: --allow-users \"%s\": %s\n", options.allowedUsers.c_str(),
                         error.c_str());
            return Base::ExitUsage;
        }
    }
    const Base::Descriptor terminal(fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0));
    if (!openLog(options.logFile))
        return Base::ExitFailed;
    return serve(options, &users, terminal.number());
}
