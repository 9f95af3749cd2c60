#include "request/status.h"

#include "metrics/servercounters.h"
#include "records/requeststatus.h"
#include "request/bdbrequest.h"
#include "request/dispatch.h"
#include "request/replyenvelope.h"
#include "request/serverview.h"
#include "storage/bdbenv.h"
#include "storage/bdbregistry.h"

#include <QVariantList>

#include <algorithm>
#include <cstdint>
#include <optional>

using namespace Qt::StringLiterals;

namespace {

static_assert(AnsweredStatuses <= Metrics::MostOutcomes);

QVariant number(std::uint64_t value)
{
    return QVariant::fromValue(static_cast<qulonglong>(value));
}

QString outcomeName(int status)
{
    const char* const type = ReplyEnvelope::of(status).type;
    return type != nullptr ? QString::fromLatin1(type) : u"Success"_s;
}

QVariantList latencyBounds()
{
    QVariantList bounds;
    for (const std::chrono::microseconds bound : Metrics::LatencyBounds)
        bounds.append(static_cast<qlonglong>(bound.count()));
    return bounds;
}

/** Nothing if there was no such request. */
std::optional<QVariantMap> requestsOf(std::size_t operation, int status)
{
    const auto sum = [&](auto&& count) {
        return Metrics::server().sum([&](const Metrics::ServerCounters& counters) {
            return count(counters.requests[operation][static_cast<std::size_t>(status)]);
        });
    };
    QVariantList latencies;
    std::uint64_t requests = 0;
    for (std::size_t i = 0; i < Metrics::LatencyClasses; ++i) {
        const std::uint64_t inClass = sum([i](const Metrics::LatencyCounter& counter) { return counter.inClass(i); });
        requests += inClass;
        latencies.append(number(inClass));
    }
    if (requests == 0)
        return std::nullopt;
    const std::string_view name = Requests::operationName(operation);
    const std::uint64_t nanoseconds = sum([](const Metrics::LatencyCounter& counter) { return counter.nanoseconds(); });
    return QVariantMap{
        {"Operation", QString::fromLatin1(name.data(), static_cast<qsizetype>(name.size()))},
        {"Outcome", outcomeName(status)},
        {"Count", number(requests)},
        {"Microseconds", number(nanoseconds / 1000)},
        {"Latencies", latencies},
    };
}

QVariantList requests()
{
    QVariantList list;
    for (std::size_t operation = 0; operation < Metrics::MostOperations; ++operation) {
        for (int status = 0; status < AnsweredStatuses; ++status) {
            if (const auto found = requestsOf(operation, status))
                list.append(*found);
        }
    }
    return list;
}

QVariantMap bytes()
{
    const Metrics::ServerTotals& server = Metrics::server();
    return {{"Received", number(server.sum([](const auto& counters) { return counters.bytesReceived.value(); }))},
            {"Sent", number(server.sum([](const auto& counters) { return counters.bytesSent.value(); }))}};
}

QVariantList environments(BDBObjTable* registry)
{
    QVariantList list;
    for (const EnvironmentUse& use : Registry::openEnvironments(registry))
        list.append(QVariantMap{{"Directory", QString::fromUtf8(use.env()->canonicalHome())}});
    return list;
}

} // namespace

int Requests::status(BDBRequest& request)
{
    QVariantMap& reply = request.reply;
    if (request.server != nullptr)
        request.server->describe(&reply);
    reply.insert(u"Bytes"_s, bytes());
    reply.insert(u"LatencyBounds"_s, latencyBounds());
    reply.insert(u"Requests"_s, requests());
    reply.insert(u"Environments"_s, environments(request.table.registry()));
    return StatusSuccess;
}
