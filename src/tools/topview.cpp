#include "tools/topview.h"

#include "tools/slowrequesttext.h"
#include "tools/terminaltext.h"
#include "tools/textcolumns.h"
#include "tools/units.h"

#include <algorithm>
#include <cmath>

namespace Ctl {

namespace {

using Client::ServerStatus;
using TerminalText::printable;
using Lines = std::vector<std::string>;
constexpr auto Right = TextColumns::Align::Right;

std::string rateOf(qint64 count, double seconds)
{
    return Units::rate(seconds > 0 ? static_cast<double>(count) / seconds : 0);
}

std::string byteRate(qint64 bytes, double seconds)
{
    const double rate = seconds > 0 ? static_cast<double>(bytes) / seconds : 0;
    return (rate < 0 ? "-" : "") + Units::bytes(std::abs(rate)) + "/s";
}

/** The latency class at this fraction of all requests; none without requests. */
std::string classOf(const Client::Latencies& latencies, double part)
{
    return latencies.total() > 0 ? Units::latency(latencies.quantile(part)) : "-";
}

Lines serverLines(const std::string& address, const ServerStatus& now, const StatusChange& change)
{
    const double seconds = change.seconds;
    const auto number = [](qint64 count) { return std::to_string(count); };
    return {
        "quorva " + printable(now.version) + " at " + address + ", process " + number(now.processId) + ", up " +
            Units::duration(now.uptime) + "; figures " +
            (change.isSinceStart ? "since its start" : "of " + Units::duration(seconds)),
        "requests     " + rateOf(change.requests, seconds) + "/s, " + rateOf(change.failed, seconds) + "/s failed",
        "connections  " + number(now.openConnections) + " open, " + rateOf(change.connectionsAccepted, seconds) +
            "/s new, " + rateOf(change.connectionsRefused, seconds) + "/s refused",
        "traffic      " + byteRate(change.receivedBytes, seconds) + " in, " + byteRate(change.sentBytes, seconds) +
            " out",
        "now          " + number(now.threads.poolBusy) + " running, " + number(now.threads.poolQueue) + " queued, " +
            number(now.threads.repliesWaiting) + " waiting for the log to be on disk",
        "threads      " + number(now.threads.workersBusy) + " of " + number(now.threads.workers) + " workers busy, " +
            number(now.threads.pool) + " in the pool",
        "process      " + Units::bytes(now.process.residentBytes) + " of memory, " +
            Units::percentage(change.processorSeconds, seconds) + " of a processor, " +
            number(now.process.descriptors) + " of " + number(now.process.descriptorLimit) + " descriptors",
    };
}

/** "shipping", and the time up to which the backup is complete. */
std::string backupOf(const ServerStatus::Environment& environment)
{
    const std::string state = printable(environment.backupState);
    return environment.backupUntil > 0 ? state + ", until " + Units::date(environment.backupUntil) : state;
}

Lines environmentLines(const ServerStatus& now, const StatusChange& change, int width)
{
    TextColumns columns({{"ENVIRONMENT"},
                         {"TABLES", Right, 9},
                         {"CACHE HITS", Right, 1},
                         {"LOG", Right, 2},
                         {"GROWTH", Right, 4},
                         {"COMMITS/s", Right},
                         {"FLUSHES/s", Right, 7},
                         {"PER FLUSH", Right, 8},
                         {"LOCK WAITS/s", Right, 5},
                         {"DEADLOCKS/s", Right, 6},
                         {"BACKUP", TextColumns::Align::Left, 3}});
    for (std::size_t i = 0; i < now.environments.size(); ++i) {
        const ServerStatus::Environment& environment = now.environments[i];
        const StatusChange::Environment& changed = change.environments[i];
        const double seconds = change.seconds;
        columns.add({printable(environment.directory), std::to_string(environment.tables),
                     Units::percentage(static_cast<double>(changed.cacheHits),
                                       static_cast<double>(changed.cacheHits + changed.cacheMisses)),
                     Units::bytes(environment.logBytes), byteRate(changed.logBytes, seconds),
                     rateOf(changed.commits, seconds), rateOf(changed.flushes, seconds),
                     changed.flushes > 0 ? rateOf(changed.commits, static_cast<double>(changed.flushes)) : "-",
                     rateOf(changed.lockWaits, seconds), rateOf(changed.deadlocks, seconds), backupOf(environment)});
    }
    return columns.isEmpty() ? Lines{"no environment is open"} : columns.lines(width);
}

/** The slowest first. */
Lines slowLines(const ServerStatus& now, int width)
{
    std::vector<ServerStatus::SlowRequest> slowest = now.slowRequests;
    std::stable_sort(slowest.begin(), slowest.end(),
                     [](const auto& a, const auto& b) { return a.milliseconds > b.milliseconds; });
    return SlowRequestText::lines(now, slowest, width);
}

/** Adds a block below an empty line. */
void append(const Lines& block, Lines* lines)
{
    lines->emplace_back();
    lines->insert(lines->end(), block.begin(), block.end());
}

} // namespace

Lines TopView::lines(const std::string& address, const ServerStatus& now, const StatusChange& change, int width) const
{
    Lines lines = serverLines(address, now, change);
    append(operationLines(change, width), &lines);
    append(environmentLines(now, change, width), &lines);
    append(slowLines(now, width), &lines);
    return lines;
}

Lines TopView::operationLines(const StatusChange& change, int width) const
{
    using Operation = StatusChange::Operation;
    const auto value = [this](const Operation& operation) -> qint64 {
        switch (order_) {
        case Order::Rate:
            return operation.count;
        case Order::Failed:
            return operation.failed;
        case Order::Median:
            return operation.latencies.quantile(0.5);
        case Order::Percentile:
            return operation.latencies.quantile(0.99);
        case Order::Slowest:
            return operation.latencies.quantile(1);
        case Order::Name:
            break;
        }
        return 0;
    };
    std::vector<Operation> sorted = change.operations;
    std::sort(sorted.begin(), sorted.end(), [&](const Operation& a, const Operation& b) {
        return value(a) != value(b) ? value(a) > value(b) : a.name < b.name;
    });
    TextColumns columns({{"OPERATION"},
                         {"RATE/s", Right},
                         {"FAILED/s", Right, 2},
                         {"P50", Right, 3},
                         {"P99", Right, 1},
                         {"MAX", Right, 4},
                         {"TOTAL", Right, 5}});
    for (const Operation& operation : sorted)
        columns.add({printable(operation.name), rateOf(operation.count, change.seconds),
                     rateOf(operation.failed, change.seconds), classOf(operation.latencies, 0.5),
                     classOf(operation.latencies, 0.99), classOf(operation.latencies, 1),
                     std::to_string(operation.total)});
    return columns.lines(width);
}

} // namespace Ctl
