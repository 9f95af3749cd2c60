#include "tools/statustext.h"

#include "tools/failedrequesttext.h"
#include "tools/messages.h"
#include "tools/slowrequesttext.h"
#include "tools/terminaltext.h"
#include "tools/textcolumns.h"
#include "tools/units.h"

#include <cmath>
#include <vector>

namespace StatusText {

namespace {

using Client::ServerStatus;
using Ctl::counted;
using Ctl::TextColumns;
using TerminalText::printable;
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
    const auto value = [&](const char* name) { return printable(options.value(QLatin1String(name)).toString()); };
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
        "server       quorva " + printable(status.version) + " at " + address + ", process " + number(status.processId),
        "up           " + Units::duration(status.uptime) + ", since " + Units::date(status.startTime),
        "options      " + options(status.options),
        "process      " + bytes(status.process.residentBytes) + " of memory, " +
            Units::duration(status.processorSeconds) + " of processor time, " + number(status.process.descriptors) +
            " of " + number(status.process.descriptorLimit) + " descriptors",
        "connections  " + number(status.openConnections) + " open, " + number(status.connectionsAccepted) +
            " accepted, " + number(status.connectionsRefused) + " refused",
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
        columns.add({printable(requests.operation), printable(requests.outcome), number(requests.count),
                     requests.count > 0 ? Units::latency(std::llround(mean)) : "-",
                     Units::latency(requests.latencies.quantile(0.5)),
                     Units::latency(requests.latencies.quantile(0.99)),
                     Units::latency(requests.latencies.quantile(1))});
    }
    return columns.lines();
}

std::string backup(const ServerStatus::Environment& environment)
{
    std::string text = printable(environment.backupState);
    if (!environment.backupTarget.isEmpty())
        text += " to " + printable(environment.backupTarget);
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
        environment.openTables.isEmpty() ? "" : ": " + printable(environment.openTables.join(QStringLiteral(", ")));
    Lines lines{
        "environment  " + printable(environment.directory),
        "  tables     " + number(environment.tables) + " open" + names + "; " + counted(environment.files, "file"),
        "  cache      " + bytes(environment.cacheBytes) + ", " + counted(environment.cachePages, "page") + ", " +
            number(environment.cacheDirtyPages) + " of them dirty; " +
            Units::percentage(static_cast<double>(environment.cacheHits), static_cast<double>(reads)) + " hits of " +
            number(reads),
        "  locks      " + counted(environment.lockWaits, "wait") + ", " + counted(environment.deadlocks, "deadlock"),
        "  log        " + bytes(environment.logBytes) + " in " + counted(environment.logFiles, "file") + ", at byte " +
            number(environment.logOffset) + " of file " + number(environment.logFile),
        "  commits    " + number(environment.commits) + ", " + perFlush + " a flush; " +
            counted(environment.flushes, "flush", "flushes") + ", " + counted(environment.aborts, "abort"),
        "  checkpoint " + Units::date(environment.lastCheckpoint),
        "  backup     " + backup(environment),
    };
    if (environment.syncFailed != 0)
        lines.emplace_back("  disk       failed to sync a file: writes are refused until the server is restarted");
    return lines;
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
