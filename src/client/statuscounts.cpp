#include "client/statuscounts.h"

#include <algorithm>

namespace Client {

ServerCounts ServerCounts::since(const ServerCounts& before) const
{
    return {receivedBytes - before.receivedBytes, sentBytes - before.sentBytes,
            connectionsAccepted - before.connectionsAccepted, connectionsRefused - before.connectionsRefused,
            processorSeconds - before.processorSeconds};
}

const std::array<qint64 EnvironmentCounts::*, 7> EnvironmentCounts::All{
    &EnvironmentCounts::cacheHits, &EnvironmentCounts::cacheMisses, &EnvironmentCounts::lockWaits,
    &EnvironmentCounts::deadlocks, &EnvironmentCounts::commits,     &EnvironmentCounts::aborts,
    &EnvironmentCounts::flushes};

EnvironmentCounts EnvironmentCounts::since(const EnvironmentCounts& before) const
{
    EnvironmentCounts change;
    for (const auto count : All)
        change.*count = this->*count - before.*count;
    return change;
}

bool EnvironmentCounts::continues(const EnvironmentCounts& before) const
{
    return std::all_of(All.begin(), All.end(), [&](auto count) { return this->*count >= before.*count; });
}

} // namespace Client
