#include "tools/statuschange.h"

#include <algorithm>

namespace Ctl {

namespace {

using Client::ServerStatus;

const ServerStatus::Requests* find(const ServerStatus& status, const ServerStatus::Requests& like)
{
    const auto found = std::find_if(status.requests.begin(), status.requests.end(), [&](const auto& requests) {
        return requests.operation == like.operation && requests.outcome == like.outcome;
    });
    return found != status.requests.end() ? &*found : nullptr;
}

StatusChange::Operation* operationIn(std::vector<StatusChange::Operation>* operations, const QString& name)
{
    const auto found = std::find_if(operations->begin(), operations->end(),
                                    [&](const auto& operation) { return operation.name == name; });
    if (found != operations->end())
        return &*found;
    operations->emplace_back().name = name;
    return &operations->back();
}

/** Adds the requests of one operation and outcome to those of the operation. */
void add(const ServerStatus::Requests& requests, const ServerStatus& before, StatusChange* change)
{
    StatusChange::Operation* const operation = operationIn(&change->operations, requests.operation);
    const ServerStatus::Requests* const earlier = find(before, requests);
    const qint64 count = requests.count - (earlier != nullptr ? earlier->count : 0);
    const qint64 failed = requests.isSuccess() ? 0 : count;
    Client::Latencies latencies = requests.latencies;
    if (earlier != nullptr)
        latencies.subtract(earlier->latencies);
    operation->total += requests.count;
    operation->count += count;
    operation->failed += failed;
    operation->latencies.add(latencies);
    change->requests += count;
    change->failed += failed;
}

StatusChange::Environment environmentChange(const ServerStatus& earlier, const ServerStatus::Environment& now)
{
    const auto found = std::find_if(earlier.environments.begin(), earlier.environments.end(), [&](const auto& before) {
        return before.directory == now.directory && now.continues(before);
    });
    if (found == earlier.environments.end())
        return {now, 0}; // what the log had when the environment was opened is not known
    return {now.since(*found), now.logBytes - found->logBytes};
}

} // namespace

StatusChange StatusChange::between(const ServerStatus* before, const ServerStatus& now)
{
    const bool isSameProcess =
        before != nullptr && before->processId == now.processId && before->startTime == now.startTime;
    const ServerStatus start;
    const ServerStatus& earlier = isSameProcess ? *before : start;
    StatusChange change;
    static_cast<Client::ServerCounts&>(change) = now.ServerCounts::since(earlier);
    change.isSinceStart = !isSameProcess;
    change.seconds = now.uptime - earlier.uptime;
    for (const ServerStatus::Requests& requests : now.requests)
        add(requests, earlier, &change);
    for (const ServerStatus::Environment& environment : now.environments)
        change.environments.push_back(environmentChange(earlier, environment));
    return change;
}

} // namespace Ctl
