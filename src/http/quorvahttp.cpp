#include "api/service.h"
#include "base/descriptor.h"
#include "base/exitstatus.h"
#include "base/fileio.h"
#include "base/freedmemory.h"
#include "base/standarddescriptors.h"
#include "http/apihandler.h"
#include "http/consolefiles.h"
#include "http/consolehandler.h"
#include "http/healthhandler.h"
#include "http/httprouter.h"
#include "http/httpserver.h"
#include "http/metricshandler.h"
#include "http/metricsport.h"
#include "http/options.h"
#include "http/signals.h"
#include "peer/allowedusers.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <latch>
#include <optional>
#include <string>
#include <thread>
#include <utility>

namespace {

/** How long /health and /metrics wait for the server, unless a timeout on the command line is shorter. */
constexpr int ProbeSeconds = 5;

/** Of responses that clients do not take: enough for a crowd of the largest ones, of 16 MB. */
constexpr std::size_t UntakenBytes = 256 * 1024 * 1024;

using Http::Options;

/** Exits after an exception, instead of aborting: the library's threads cannot be joined then. */
[[noreturn]] void giveUp()
{
    std::fputs("quorva-http: there is not enough memory, or not enough threads can be created for --threads\n", stderr);
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

Http::HttpLimits limitsOf(const Options& options)
{
    Http::HttpLimits limits;
    limits.request.body = options.bodyBytes;
    limits.connections = connectionLimit(options.threads);
    limits.largeBodyBytes = 2 * options.bodyBytes;
    limits.untakenBytes = UntakenBytes;
    limits.keepAlive = std::chrono::seconds(options.keepAliveSeconds);
    limits.transfer = std::chrono::seconds(options.transferSeconds);
    return limits;
}

/** For the port that serves figures alone: few connections, for which connectionLimit() leaves descriptors. */
Http::HttpLimits metricsLimitsOf(const Options& options)
{
    Http::HttpLimits limits = limitsOf(options);
    limits.request.body = 0;
    limits.connections = 16;
    return limits;
}

Api::Settings apiSettingsOf(const Options& options)
{
    Api::Settings settings;
    if (!options.directories.empty())
        settings.directory = options.directories.front();
    return settings;
}

/** Returns an exit code, after reporting a port that cannot be bound. */
int checkBound(int port, int asked)
{
    if (port >= 0)
        return Base::ExitOk;
    std::fprintf(stderr, "quorva-http: cannot listen on 127.0.0.1:%d: %s\n", asked, std::strerror(errno));
    return Base::ExitFailed;
}

/**
 * Reports the ports that it listens on, and the console's address. The address goes to `terminal`, the standard error
 * from before --log: it contains the token, and other users may usually read a log file.
 */
void tellStart(const Options& options, int port, int metricsPort, const Http::ConsoleToken& token, int terminal)
{
    std::string listening = "quorva-http: listening on 127.0.0.1:" + std::to_string(port) + " for the server at " +
                            options.host + ':' + std::to_string(options.port) + '\n';
    if (metricsPort >= 0)
        listening +=
            "quorva-http: listening on 127.0.0.1:" + std::to_string(metricsPort) + " for /metrics and /health\n";
    std::string address;
    if (options.servesConsole()) // A browser does not send the fragment, so the token gets into no other log either.
        address = "quorva-http: console at http://127.0.0.1:" + std::to_string(port) +
                  "/console#token=" + token.text() + '\n';
    if (options.logFile.empty())
        listening += address; // in a single write
    else
        (void)Base::writeAll(terminal, address); // ignored: the reader may be gone
    std::fputs(listening.c_str(), stderr);
}

int serve(const Options& options, AllowedUsers* users, int terminal)
{
    const Http::Upstream upstream{QString::fromStdString(options.host), options.port, options.connectSeconds * 1000,
                                  options.receiveSeconds * 1000};
    Http::ServerPool pool(upstream, options.threads);
    Http::Gateway gateway(&pool);
    Api::Service service([&pool](const QByteArray& operation, const QByteArray& body, QByteArray* reply,
                                 QString* error) { return pool.exchange(operation, body, reply, error); },
                         apiSettingsOf(options));
    Http::AllowedHosts hosts;
    for (const std::string& host : options.allowedHosts)
        (void)hosts.add(host); // ignored: the command line was checked
    Http::Crew crew(options.threads);
    Http::TransportFigures figures;
    Http::StatusProbe probe(
        upstream, std::chrono::seconds(std::min({options.connectSeconds, options.receiveSeconds, ProbeSeconds})));
    Http::MetricsHandler metrics(&probe, &figures);
    Http::HealthHandler health(&probe);
    Http::HttpRouter router(hosts, users);
    router.add("/metrics", {"GET", "HEAD"}, &metrics);
    router.add("/health", {"GET", "HEAD"}, &health);
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
    Http::HttpServer server(limitsOf(options), &router, &crew, &figures);
    Http::ServerExchanges exchanges(server.executor(), &pool, &crew);
    Http::ApiHandler api(options.bodyBytes, &gateway, &service, &crew, &exchanges);
    router.add("/", {"POST"}, &api);
    const int port = server.bind(options.listen);
    if (const int code = checkBound(port, options.listen))
        return code;
    router.setPort(port);

    std::optional<Http::MetricsPort> metricsPort;
    int further = Options::NoPort;
    if (options.metricsOnly != Options::NoPort) {
        metricsPort.emplace(metricsLimitsOf(options), hosts, &metrics, &health, &figures);
        further = metricsPort->bind(options.metricsOnly);
        if (const int code = checkBound(further, options.metricsOnly))
            return code;
        metricsPort->start();
    }
    tellStart(options, port, further, token, terminal);

    std::latch ended(1);
    std::thread watcher(Http::Signals::watch, options.logFile, &server, &ended);
    const bool wasAsked = server.run();
    if (!wasAsked) {
        std::fprintf(stderr, "quorva-http: cannot accept connections any more: %s\n", std::strerror(errno));
        _exit(Base::ExitFailed); // without cleanup: the watcher is still waiting for a signal
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
    Base::keepFreedMemory();
    std::set_terminate(giveUp);
    Http::Signals::block();

    Options options;
    if (int code = Base::ExitOk; !options.parse(argc, argv, &code))
        return code;
    AllowedUsers users;
    if (options.limitsUsers) {
        if (const std::string error = users.restrictTo(options.allowedUsers); !error.empty()) {
            std::fprintf(stderr, "quorva-http: --allow-users \"%s\": %s\n", options.allowedUsers.c_str(),
                         error.c_str());
            return Base::ExitUsage;
        }
    }
    const Base::Descriptor terminal(fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0));
    if (!Http::Signals::openLog(options.logFile))
        return Base::ExitFailed;
    return serve(options, &users, terminal.number());
}
