#include "common/commandline.h"
#include "common/measure.h"
#include "load/loadthread.h"
#include "load/target.h"

#include <sys/resource.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <memory>
#include <string>
#include <thread>
#include <utility>

using namespace Bench;

namespace {

struct Options {
    std::string action;
    Target target;
    std::string table = "build/bench/data|items";
    Workload workload;
    unsigned clients = 8;
    unsigned threads = 1;
    unsigned idle = 0;
    unsigned writers = 0;
    Interface interface = Interface::Wire;
    unsigned echo = 0; // bytes of each reply; 0: the target is a server
    double seconds = 2;
    double warmUp = 0.3;
    bool asJson = false;
};

/** By its name on the command line. */
Interface interfaceNamed(const std::string& name)
{
    if (name == "2011")
        return Interface::Http2011;
    return name == "2012" ? Interface::Http2012 : Interface::Wire;
}

int complain(const QString& text)
{
    std::fprintf(stderr, "quorva-bench: %s\n", text.toLocal8Bit().constData());
    return 1;
}

/** Connects clients `first` to `end` - 1 and spreads them over the threads. */
bool connectClients(const Options& options, Operation operation, unsigned first, unsigned end,
                    std::vector<LoadThread>& threads, QString* error)
{
    for (unsigned i = first; i < end; ++i) {
        Client::WireConnection connection;
        if (!options.target.connect(&connection, error))
            return false;
        RequestMaker requests(options.target.tableName, operation, options.workload, i + 1, options.interface);
        if (options.echo > 0)
            requests.askForEcho(options.echo);
        auto client = std::make_unique<LoadClient>(std::move(connection), std::move(requests), options.interface);
        if (!threads[i % threads.size()].add(std::move(client))) {
            *error = QStringLiteral("cannot watch the socket");
            return false;
        }
    }
    return true;
}

int measure(const Options& options, Operation operation)
{
    QString error;
    std::vector<Client::WireConnection> idle;
    if (options.echo == 0 && options.interface == Interface::Wire && !options.target.check(options.workload, &error))
        return complain(error);
    if (!options.target.connectIdle(options.idle, &idle, &error))
        return complain(error);
    std::vector<LoadThread> threads(std::max(1U, std::min(options.threads, options.clients)));
    std::vector<LoadThread> beside(options.writers > 0 ? 1 : 0);
    const unsigned all = options.clients + options.writers;
    if (!connectClients(options, operation, 0, options.clients, threads, &error) ||
        !connectClients(options, Operation::Put, options.clients, all, beside, &error))
        return complain(error);

    const Window window(options.warmUp, options.seconds);
    std::atomic<bool> lost{false};
    std::vector<std::thread> running;
    for (std::vector<LoadThread>* const some : {&threads, &beside}) {
        for (LoadThread& thread : *some)
            running.emplace_back([&] {
                if (!thread.run(window))
                    lost = true;
            });
    }
    for (std::thread& thread : running)
        thread.join();
    if (lost)
        return complain("a connection was lost, or no reply arrived");

    Result result;
    for (const LoadThread& thread : threads) {
        result.add(thread.result());
        if (!thread.firstError().isEmpty())
            complain("a reply was an error: ..." + QString::fromUtf8(thread.firstError()));
    }
    print(options.action + ", " + std::to_string(options.clients) + " clients", result, window.seconds(),
          options.asJson);
    return result.errors == 0 ? 0 : 1;
}

/** Each client needs a descriptor, and the default limit is lower than the number of clients that may be requested. */
void raiseDescriptorLimit()
{
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) == 0) {
        limit.rlim_cur = limit.rlim_max;
        (void)setrlimit(RLIMIT_NOFILE, &limit); // ignored: the limit may suffice
    }
}

int run(const Options& options)
{
    QString error;
    if (!options.workload.isValid())
        return complain("items come in hundreds, at least two of them, and have at most 400000 bytes");
    if (options.action == "load")
        return options.target.load(options.workload, options.clients, &error) ? 0 : complain(error);
    if (options.action == "idle") {
        std::vector<Client::WireConnection> idle;
        if (!options.target.connectIdle(options.idle, &idle, &error))
            return complain(error);
        std::puts("connected");
        std::fflush(stdout);
        (void)std::getchar(); // until standard input is written to or closed
        return 0;
    }
    if (const auto operation = operationNamed(options.action))
        return measure(options, *operation);
    return complain("there is no operation " + QString::fromStdString(options.action));
}

} // namespace

int main(int argc, char** argv)
{
    Options options;
    std::string interface = "wire";
    CommandLine line("Puts a running server under load: each client sends a request, waits for its reply and sends the "
                     "next one.");
    line.argument("ACTION", options.action,
                  operationNames() + "; load creates the table and its items, idle holds connections until standard "
                                     "input ends");
    line.option("-p,--port", options.target.port, "Port on 127.0.0.1");
    line.option("--table", options.table, "TableName; its directory must exist");
    line.option("-c,--clients", options.clients, "Clients at once");
    line.option("--threads", options.threads, "Threads that serve the clients");
    line.option("-s,--seconds", options.seconds, "Length of the measurement in seconds");
    line.option("--warm-up", options.warmUp, "Seconds of warm-up before it");
    line.option("-k,--items", options.workload.items, "Items of the table");
    line.option("-i,--item-size", options.workload.itemBytes, "Bytes of an item's JSON");
    line.option("--writers", options.writers, "Further clients that put, from a thread of their own; not counted");
    line.option("--idle", options.idle, "Further connections that do nothing");
    line.option("--echo", options.echo, "The port is echo-limit's: request replies of this many bytes");
    line.choice("--interface", interface, {"wire", "2011", "2012"},
                "The port's interface: wire, or the API of 2011 or 2012 of quorva-http; load and idle need wire");
    line.flag("--json", options.asJson, "Print the result as JSON");
    if (int code = 0; !line.parse(argc, argv, &code))
        return code;
    options.interface = interfaceNamed(interface);
    raiseDescriptorLimit();
    options.target.tableName = QByteArray::fromStdString(options.table);
    return run(options);
}
