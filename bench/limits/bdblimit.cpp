#include "common/commandline.h"
#include "common/measure.h"
#include "limits/directtable.h"
#include "limits/directworker.h"
#include "limits/outstanding.h"

#include "log/log.h"
#include "storage/enginecalls.h"
#include "storage/settings.h"

#include <db_cxx.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

using namespace Bench;

namespace {

struct Options {
    std::string action;
    std::string directory = "build/bench/direct";
    Workload workload;
    unsigned clients = 8;
    double seconds = 2;
    double warmUp = 0.3;
    unsigned pause = 0;
    unsigned outstanding = 0;
    bool withoutSync = false;
    bool asJson = false;
};

int complain(const char* step, int rc)
{
    std::fprintf(stderr, "bdb-limit: %s: result %d\n", step, rc); // the layers below have said more
    return 1;
}

int refuse(const char* text)
{
    std::fprintf(stderr, "bdb-limit: %s\n", text);
    return 1;
}

void runWorker(DirectWorker worker, const Window& window, std::chrono::microseconds pause, Result* result)
{
    Clock::time_point began = Clock::now();
    while (began < window.end) {
        const int rc = worker.run();
        const Clock::time_point now = Clock::now();
        if (rc == 0)
            result->addSuccess(window, began, now);
        else
            ++result->errors;
        began = now;
        if (pause.count() > 0) {
            std::this_thread::sleep_for(pause);
            began = Clock::now();
        }
    }
}

/** Commits without waiting for the disk; `outstanding` ends the operations. */
void runAhead(DirectWorker worker, const Window& window, Outstanding* outstanding, Result* result)
{
    for (;;) {
        outstanding->begin();
        const Clock::time_point began = Clock::now();
        if (began >= window.end)
            return outstanding->end();
        const int rc = worker.run();
        if (rc == 0 && worker.hasWritten()) {
            outstanding->endWhenFlushed(began);
            continue;
        }
        if (rc == 0)
            result->addSuccess(window, began, Clock::now());
        else
            ++result->errors;
        outstanding->end();
    }
}

/** The cache is the process's own and empty: fills it, as in a server that has run for a while. */
int warmCache(const DirectTable& table, const Workload& workload)
{
    DirectWorker reader(table, Operation::Get, workload, 1);
    for (unsigned i = 0; i < std::min(workload.items, 20000U); ++i) {
        if (const int rc = reader.run())
            return rc;
    }
    return 0;
}

int measure(const Options& options, Operation operation, DirectTable& table)
{
    if (const int rc = warmCache(table, options.workload))
        return complain("reading", rc);
    std::vector<Result> results(options.clients);
    const Window window(options.warmUp, options.seconds);
    std::optional<Outstanding> outstanding;
    if (options.outstanding > 0)
        outstanding.emplace(table.env(), options.outstanding, window);
    std::vector<std::thread> threads;
    for (unsigned i = 0; i < options.clients; ++i) {
        DirectWorker worker(table, operation, options.workload, i + 1);
        if (outstanding)
            threads.emplace_back(runAhead, std::move(worker), window, &*outstanding, &results[i]);
        else
            threads.emplace_back(runWorker, std::move(worker), window, std::chrono::microseconds(options.pause),
                                 &results[i]);
    }
    for (std::thread& thread : threads)
        thread.join();
    if (outstanding)
        results.push_back(outstanding->finish());
    if (const int rc = table.checkpoint())
        return complain("checkpoint", rc);

    Result total;
    for (const Result& result : results)
        total.add(result);
    print(options.action + ", " + std::to_string(options.clients) + " threads", total, window.seconds(),
          options.asJson);
    return total.errors == 0 ? 0 : 1;
}

int run(const Options& options)
{
    if (!options.workload.isValid())
        return refuse("items come in hundreds, at least two of them, and have at most 400000 bytes");
    const auto operation = operationNamed(options.action);
    if (!operation && options.action != "load")
        return refuse("there is no such operation");
    Log::setDestination(stderr);
    Log::setThreshold(LogWarn);
    Settings::setTxnCommitFlags(options.withoutSync || options.outstanding > 0 ? DB_TXN_NOSYNC : DB_TXN_SYNC);
    DirectTable table;
    if (const int rc = table.open(QByteArray::fromStdString(options.directory)))
        return complain("opening", rc);
    if (operation)
        return measure(options, *operation, table);
    const int rc = table.load(options.workload);
    return rc == 0 ? 0 : complain("loading", rc);
}

} // namespace

int main(int argc, char** argv)
{
    Options options;
    CommandLine line(
        "Does what quorva-bench asks a server for, directly on Berkeley DB and with nothing around it: the "
        "rate that no server on the same storage exceeds.");
    line.argument("ACTION", options.action, operationNames() + "; load creates the items");
    line.option("--directory", options.directory, "The environment's home; it must exist");
    line.option("-c,--clients", options.clients, "Threads");
    line.option("-s,--seconds", options.seconds, "Length of the measurement in seconds");
    line.option("--warm-up", options.warmUp, "Seconds of warm-up before it");
    line.option("--pause", options.pause,
                "Microseconds that a thread sleeps after each operation, like one that waits for a client");
    line.option("--outstanding", options.outstanding,
                "Operations that may be outstanding, as with that many clients: the threads commit without waiting for "
                "the disk, and another one flushes the log for all of them; 0: each thread waits for its own");
    line.option("-k,--items", options.workload.items, "Items of the table");
    line.option("-i,--item-size", options.workload.itemBytes, "Bytes of an item's JSON");
    line.flag("-n", options.withoutSync, "Commit without waiting for the disk");
    line.flag("--json", options.asJson, "Print the result as JSON");
    if (int code = 0; !line.parse(argc, argv, &code))
        return code;
    EngineCalls::replace();
    return run(options);
}
