#include "client/serverstatus.h"

#include <QVariantList>

#include <utility>

namespace Client {

namespace {

QVariantMap mapIn(const QVariantMap& map, const char* name)
{
    return map.value(QLatin1String(name)).toMap();
}

QString textIn(const QVariantMap& map, const char* name)
{
    return map.value(QLatin1String(name)).toString();
}

qint64 countIn(const QVariantMap& map, const char* name)
{
    return map.value(QLatin1String(name)).toLongLong();
}

int numberIn(const QVariantMap& map, const char* name)
{
    return map.value(QLatin1String(name)).toInt();
}

double secondsIn(const QVariantMap& map, const char* name)
{
    return map.value(QLatin1String(name)).toDouble();
}

std::vector<qint64> countsIn(const QVariantMap& map, const char* name)
{
    std::vector<qint64> counts;
    for (const QVariant& count : map.value(QLatin1String(name)).toList())
        counts.push_back(count.toLongLong());
    return counts;
}

/** Reads each element of a list with `read`. */
template <class Read> auto listIn(const QVariantMap& map, const char* name, Read read)
{
    std::vector<decltype(read(QVariantMap()))> list;
    for (const QVariant& element : map.value(QLatin1String(name)).toList())
        list.push_back(read(element.toMap()));
    return list;
}

void readServer(const QVariantMap& server, ServerStatus* status)
{
    status->version = textIn(server, "Version");
    status->processId = countIn(server, "ProcessId");
    status->startTime = secondsIn(server, "StartTime");
    status->uptime = secondsIn(server, "Uptime");
    status->port = numberIn(server, "Port");
    status->options = mapIn(server, "Options");
    status->slowMilliseconds = numberIn(status->options, "SlowMilliseconds");
}

ServerStatus::Threads readThreads(const QVariantMap& threads)
{
    return {numberIn(threads, "Workers"),  numberIn(threads, "WorkersBusy"), numberIn(threads, "Pool"),
            numberIn(threads, "PoolBusy"), numberIn(threads, "PoolQueue"),   numberIn(threads, "RepliesWaiting")};
}

ServerStatus::Requests readRequests(const QVariantMap& requests)
{
    return {textIn(requests, "Operation"),
            textIn(requests, "Outcome"),
            countIn(requests, "Count"),
            countIn(requests, "Microseconds"),
            {{}, countsIn(requests, "Latencies")}};
}

ServerStatus::SlowRequest readSlowRequest(const QVariantMap& request)
{
    return {secondsIn(request, "Time"),
            textIn(request, "Operation"),
            textIn(request, "Table"),
            textIn(request, "Keys"),
            secondsIn(request, "Milliseconds"),
            secondsIn(request, "QueueMilliseconds"),
            secondsIn(request, "LockMilliseconds"),
            secondsIn(request, "DiskMilliseconds"),
            secondsIn(request, "FlushMilliseconds"),
            countIn(request, "Items"),
            countIn(request, "Retries"),
            textIn(request, "Peer")};
}

ServerStatus::FailedRequest readFailedRequest(const QVariantMap& request)
{
    return {secondsIn(request, "Time"), textIn(request, "Operation"), textIn(request, "Outcome"),
            countIn(request, "Result"), textIn(request, "Table"),     textIn(request, "Keys"),
            textIn(request, "Peer")};
}

ServerStatus::Environment readEnvironment(const QVariantMap& map)
{
    ServerStatus::Environment environment;
    environment.directory = textIn(map, "Directory");
    environment.openTables = map.value(QLatin1String("OpenTables")).toStringList();
    environment.tables = countIn(map, "Tables");
    environment.files = countIn(map, "Files");
    const QVariantMap cache = mapIn(map, "Cache");
    environment.cacheBytes = countIn(cache, "Bytes");
    environment.cachePages = countIn(cache, "Pages");
    environment.cacheDirtyPages = countIn(cache, "DirtyPages");
    environment.cacheHits = countIn(cache, "Hits");
    environment.cacheMisses = countIn(cache, "Misses");
    const QVariantMap locks = mapIn(map, "Locks");
    environment.lockWaits = countIn(locks, "Waits");
    environment.deadlocks = countIn(locks, "Deadlocks");
    const QVariantMap log = mapIn(map, "Log");
    environment.logFile = countIn(log, "File");
    environment.logOffset = countIn(log, "Offset");
    environment.logFiles = countIn(log, "Files");
    environment.logBytes = countIn(log, "BytesOnDisk");
    environment.commits = countIn(map, "Commits");
    environment.aborts = countIn(map, "Aborts");
    environment.flushes = countIn(map, "Flushes");
    environment.syncFailed = map.value(QLatin1String("SyncFailed")).toBool() ? 1 : 0;
    environment.lastCheckpoint = secondsIn(map, "LastCheckpoint");
    const QVariantMap backup = mapIn(map, "Backup");
    environment.backupState = textIn(backup, "State");
    environment.backupTarget = textIn(backup, "Target");
    environment.backupSince = secondsIn(backup, "Since");
    environment.backupUntil = secondsIn(backup, "Until");
    const QVariantMap logHeld = mapIn(map, "LogHeld");
    environment.logHeldFor = textIn(logHeld, "Target");
    environment.logHeldSince = secondsIn(logHeld, "Since");
    return environment;
}

} // namespace

ServerStatus ServerStatus::of(const QVariantMap& reply)
{
    ServerStatus status;
    readServer(mapIn(reply, "Server"), &status);
    const QVariantMap process = mapIn(reply, "Process");
    status.process = {countIn(process, "ResidentBytes"), countIn(process, "Descriptors"),
                      countIn(process, "DescriptorLimit")};
    status.processorSeconds = secondsIn(process, "ProcessorSeconds");
    const QVariantMap connections = mapIn(reply, "Connections");
    status.openConnections = countIn(connections, "Open");
    status.connectionsAccepted = countIn(connections, "Accepted");
    status.connectionsRefused = countIn(connections, "Refused");
    const QVariantMap bytes = mapIn(reply, "Bytes");
    status.receivedBytes = countIn(bytes, "Received");
    status.sentBytes = countIn(bytes, "Sent");
    status.threads = readThreads(mapIn(reply, "Threads"));
    status.requests = listIn(reply, "Requests", readRequests);
    for (Requests& requests : status.requests)
        requests.latencies.bounds = countsIn(reply, "LatencyBounds");
    status.slowRequests = listIn(reply, "SlowRequests", readSlowRequest);
    status.slowRequestCount = countIn(reply, "SlowRequestCount");
    status.failedRequests = listIn(reply, "FailedRequests", readFailedRequest);
    status.failedRequestCount = countIn(reply, "FailedRequestCount");
    status.environments = listIn(reply, "Environments", readEnvironment);
    return status;
}

} // namespace Client
