#include "tools/statustext.h"

#include "tools/failedrequesttext.h"
#include "tools/slowrequesttext.h"
#include "tools/terminaltext.h"
#include "tools/textcolumns.h"
#include "tools/units.h"

#include <cmath>
#include <vector>

namespace StatusText {

namespace {

using Client::ServerStatus;
using Ctl::shown;
using Ctl::TextColumns;
using Lines = std::vector<std::string>;
constexpr auto Right = TextColumns::Align::Right;

std::string number(qint64 count)
{
    return std::to_string(count);
}

using Units::bytes;

/** As on the server's command line and in its environment. */
std::string options(const QVariantMap& options)
{
    const auto value = [&](const char* name) { return shown(options.value(QLatin1String(name)).toString()); };
    std::string text = "-w " + value("Workers") + " -m " + value("PoolMaximum") + " -s " + value("StatLevel");
    if (options.value(QLatin1String("CommitWithoutSync")).toBool())
        text += " -n";
    if (!value("LogFile").empty())
        text += " -d " + value("LogFile");
    if (!value("AllowUsers").empty())
        text += " QUORVA_ALLOW_USERS=" + value("AllowUsers");
    if (options.value(QLatin1String("SlowMilliseconds")).toInt() > 0)
        text += " QUORVA_SLOW_MS=" + value("SlowMilliseconds");
    return text;
}

Lines serverLines(const std::string& address, const ServerStatus& status)
{
    const ServerStatus::Threads& threads = status.threads;
    return {
        "server       quorva " + shown(status.version) + " at " + address + ", process " + number(status.processId),
        "up           " + Units::duration(status.uptime) + ", since " + Units::date(status.startTime),
        "options      " + options(status.options),
        "process      " + bytes(status.process.residentBytes) + " of memory, " +
            Units::duration(status.process.processorSeconds) + " of processor time, " +
            number(status.process.descriptors) + " of " + number(status.process.descriptorLimit) + " descriptors",
        "connections  " + number(status.connections.open) + " open, " + number(status.connections.accepted) +
            " accepted, " + number(status.connections.refused) + " refused",
        "traffic      " + bytes(status.receivedBytes) + " received, " + bytes(status.sentBytes) + " sent",
        "requests     " + number(threads.poolBusy) + " running, " + number(threads.poolQueue) + " queued, " +
            number(threads.repliesWaiting) + " waiting for the log to be on disk",
        "threads      " + number(threads.workersBusy) + " of " + number(threads.workers) + " workers busy, " +
            number(threads.pool) + " in the pool",
    };
}

Lines requestLines(const ServerStatus& status)
{
    TextColumns columns({{"OPERATION"},
                         {"OUTCOME"},
                         {"COUNT", Right},
                         {"MEAN", Right},
                         {"P50", Right},
                         {"P99", Right},
                         {"MAX", Right}});
    for (const ServerStatus::Requests& requests : status.requests) {
        const double mean = static_cast<double>(requests.microseconds) / static_cast<double>(requests.count);
        columns.add({shown(requests.operation), shown(requests.outcome), number(requests.count),
                     requests.count > 0 ? Units::latency(std::llround(mean)) : "-",
                     Units::latency(requests.latencies.quantile(0.5)),
                     Units::latency(requests.latencies.quantile(0.99)),
                     Units::latency(requests.latencies.quantile(1))});
    }
    return columns.lines();
}

std::string backup(const ServerStatus::Environment& environment)
{
    std::string text = shown(environment.backupState);
    if (!environment.backupTarget.isEmpty())
        text += " to " + shown(environment.backupTarget);
    if (environment.backupSince > 0)
        text += ", since " + Units::date(environment.backupSince);
    if (environment.backupUntil > 0)
        text += ", holds all until " + Units::date(environment.backupUntil);
    if (environment.logHeldSince > 0 && environment.logHeldFor != environment.backupTarget)
        text += "; all log files are kept for " + TerminalText::escaped(environment.logHeldFor).toStdString() +
                " since " + Units::date(environment.logHeldSince);
    return text;
}

Lines environmentLines(const ServerStatus::Environment& environment)
{
    const qint64 reads = environment.cacheHits + environment.cacheMisses;
    const std::string perFlush =
        environment.flushes > 0
            ? Units::rate(static_cast<double>(environment.commits) / static_cast<double>(environment.flushes))
            : "-";
    const std::string names =
        environment.openTables.isEmpty() ? "" : ": " + shown(environment.openTables.join(QStringLiteral(", ")));
    return {
        "environment  " + shown(environment.directory),
        "  tables     " + number(environment.tables) + " open" + names + "; " + number(environment.files) + " files",
        "  cache      " + bytes(environment.cacheBytes) + ", " + number(environment.cachePages) + " pages, " +
            number(environment.cacheDirtyPages) + " of them dirty; " +
            Units::percentage(static_cast<double>(environment.cacheHits), static_cast<double>(reads)) + " hits of " +
            number(reads),
        "  locks      " + number(environment.lockWaits) + " waits, " + number(environment.deadlocks) + " deadlocks",
        "  log        " + bytes(environment.logBytes) + " in " + number(environment.logFiles) + " files, at byte " +
            number(environment.logOffset) + " of file " + number(environment.logFile),
        "  commits    " + number(environment.commits) + ", " + perFlush + " a flush; " + number(environment.flushes) +
            " flushes, " + number(environment.aborts) + " aborts",
        "  checkpoint " + Units::date(environment.lastCheckpoint),
        "  backup     " + backup(environment),
    };
}

void append(const Lines& block, QByteArray* text)
{
    for (const std::string& line : block)
        *text += '\n' + QByteArray::fromStdString(line);
}

/** The same below an empty line. */
void appendBlock(const Lines& block, QByteArray* text)
{
    *text += '\n';
    append(block, text);
}

} // namespace

QByteArray of(const std::string& address, const ServerStatus& status)
{
    QByteArray text;
    append(serverLines(address, status), &text);
    appendBlock(requestLines(status), &text);
    for (const ServerStatus::Environment& environment : status.environments)
        appendBlock(environmentLines(environment), &text);
    if (status.environments.empty())
        appendBlock({"no environment is open"}, &text);
    appendBlock(SlowRequestText::lines(status, status.slowRequests), &text);
    appendBlock(FailedRequestText::lines(status), &text);
    return text.mid(1);
}

} // namespace StatusText
