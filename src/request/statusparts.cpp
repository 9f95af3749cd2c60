#include "request/statusparts.h"

#include "base/processusage.h"
#include "metrics/servercounters.h"
#include "records/requeststatus.h"
#include "request/adminops.h"
#include "request/dispatch.h"
#include "request/failedrequests.h"
#include "request/replyenvelope.h"
#include "request/slowrequests.h"
#include "storage/environmentstatus.h"

#include <chrono>
#include <cstdint>
#include <optional>

namespace {

static_assert(AnsweredStatuses <= Metrics::MostOutcomes);

QVariant number(std::uint64_t value)
{
    return QVariant::fromValue(static_cast<qulonglong>(value));
}

/** In seconds since 1970. */
double seconds(std::chrono::system_clock::time_point time)
{
    return std::chrono::duration<double>(time.time_since_epoch()).count();
}

/** Adds a member for a time that is known. */
void insertTime(const QString& name, const std::optional<std::chrono::system_clock::time_point>& time, QVariantMap* map)
{
    if (time)
        map->insert(name, seconds(*time));
}

/** The requests of one operation and outcome; nothing if there were none. */
std::optional<QVariantMap> requestsWith(std::size_t operation, int status)
{
    const auto sum = [&](auto&& count) {
        return Metrics::server().sum([&](const Metrics::ServerCounters& counters) {
            return count(counters.requests[operation][static_cast<std::size_t>(status)]);
        });
    };
    std::uint64_t requests = 0;
    QVariantList latencies;
    for (std::size_t i = 0; i < Metrics::LatencyClasses; ++i) {
        const std::uint64_t inClass = sum([i](const Metrics::LatencyCounter& counter) { return counter.inClass(i); });
        requests += inClass;
        latencies.append(number(inClass));
    }
    if (requests == 0)
        return std::nullopt;
    const std::uint64_t nanoseconds = sum([](const Metrics::LatencyCounter& counter) { return counter.nanoseconds(); });
    return QVariantMap{{"Operation", Requests::operationName(operation)},
                       {"Outcome", ReplyEnvelope::outcomeName(status)},
                       {"Count", number(requests)},
                       {"Microseconds", number(nanoseconds / 1000)},
                       {"Latencies", latencies}};
}

QVariantMap backupOf(const BDBBackupStatus& status)
{
    QVariantMap backup = Requests::backupState(status);
    insertTime("Since", status.since, &backup);
    insertTime("Until", status.until, &backup);
    return backup;
}

/** Berkeley DB's statistics of the environment. */
void insertEngine(const EngineFigures& engine, QVariantMap* environment)
{
    environment->insert("EngineTime", seconds(engine.time));
    environment->insert("Cache", QVariantMap{{"Bytes", number(engine.cacheBytes)},
                                             {"Pages", number(engine.cachePages)},
                                             {"DirtyPages", number(engine.dirtyPages)},
                                             {"Hits", number(engine.cacheHits)},
                                             {"Misses", number(engine.cacheMisses)}});
    environment->insert("Locks",
                        QVariantMap{{"Waits", number(engine.lockWaits)}, {"Deadlocks", number(engine.deadlocks)}});
    environment->insert("Log", QVariantMap{{"File", engine.logFile},
                                           {"Offset", engine.logOffset},
                                           {"Files", number(engine.logFiles)},
                                           {"BytesOnDisk", number(engine.logBytes)}});
}

QVariantMap describe(const EnvironmentStatus& status)
{
    QVariantList tables;
    for (const QByteArray& table : status.tables)
        tables.append(QString::fromUtf8(table));
    QVariantMap environment{{"Directory", QString::fromUtf8(status.directory)},
                            {"Tables", tables.size()},
                            {"Files", status.files},
                            {"OpenTables", tables},
                            {"Commits", number(status.commits)},
                            {"Aborts", number(status.aborts)},
                            {"Flushes", number(status.flushes)},
                            {"SyncFailed", status.hasFailedSync},
                            {"Backup", backupOf(status.backup)}};
    insertTime("LastCheckpoint", status.lastCheckpoint, &environment);
    if (status.logHolder)
        environment.insert("LogHeld", QVariantMap{{"Target", QString::fromUtf8(status.logHolder->target)},
                                                  {"Since", seconds(status.logHolder->since)}});
    if (status.engine)
        insertEngine(*status.engine, &environment);
    return environment;
}

QVariantMap describe(const SlowRequest& slow)
{
    return {{"Time", seconds(slow.time)},
            {"Operation", slow.operation},
            {"Outcome", slow.outcome},
            {"Table", slow.table},
            {"Keys", slow.keys},
            {"Milliseconds", SlowRequest::milliseconds(slow.total)},
            {"QueueMilliseconds", SlowRequest::milliseconds(slow.queued)},
            {"LockMilliseconds", SlowRequest::milliseconds(slow.locks)},
            {"DiskMilliseconds", SlowRequest::milliseconds(slow.disk)},
            {"FlushMilliseconds", SlowRequest::milliseconds(slow.flush)},
            {"Items", slow.items},
            {"Retries", slow.retries},
            {"Peer", slow.peer}};
}

QVariantMap describe(const FailedRequest& failed)
{
    return {{"Time", seconds(failed.time)}, {"Operation", failed.operation}, {"Outcome", failed.outcome},
            {"Result", failed.result},      {"Table", failed.table},         {"Keys", failed.keys},
            {"Peer", failed.peer}};
}

} // namespace

QVariantMap StatusParts::process()
{
    const Base::ProcessUsage usage = Base::processUsage();
    return {{"ResidentBytes", number(usage.residentBytes)},
            {"ProcessorSeconds", usage.processorSeconds},
            {"Descriptors", number(usage.descriptors)},
            {"DescriptorLimit", number(usage.descriptorLimit)}};
}

QVariantMap StatusParts::bytes()
{
    const Metrics::ServerTotals& server = Metrics::server();
    return {{"Received", number(server.sum([](const auto& counters) { return counters.bytesReceived.value(); }))},
            {"Sent", number(server.sum([](const auto& counters) { return counters.bytesSent.value(); }))}};
}

QVariantList StatusParts::latencyBounds()
{
    QVariantList bounds;
    for (const std::chrono::microseconds bound : Metrics::LatencyBounds)
        bounds.append(static_cast<qlonglong>(bound.count()));
    return bounds;
}

QVariantList StatusParts::requests()
{
    QVariantList list;
    for (std::size_t operation = 0; operation < Metrics::MostOperations; ++operation) {
        for (int status = 0; status < AnsweredStatuses; ++status) {
            if (const auto found = requestsWith(operation, status))
                list.append(*found);
        }
    }
    return list;
}

QVariantList StatusParts::slowRequests()
{
    QVariantList list;
    for (const SlowRequest& slow : SlowRequests::latest())
        list.append(describe(slow));
    return list;
}

QVariantList StatusParts::failedRequests()
{
    QVariantList list;
    for (const FailedRequest& failed : FailedRequests::latest())
        list.append(describe(failed));
    return list;
}

QVariantList StatusParts::environments(BDBObjTable* registry)
{
    QVariantList list;
    for (const EnvironmentStatus& status : EnvironmentStatus::ofAll(registry))
        list.append(describe(status));
    return list;
}
