#include "api/members.h"
#include "api/tablecatalog.h"
#include "api/tablefigures.h"
#include "api/tableoperations.h"
#include "api/tableoptions.h"

#include <algorithm>
#include <array>

namespace Api {

namespace {

bool asksForAnything(const Items::JsonValue& request)
{
    // The last four are ignored.
    constexpr std::array<std::string_view, 12> Changes{"ProvisionedThroughput",
                                                       "BillingMode",
                                                       "StreamSpecification",
                                                       "GlobalSecondaryIndexUpdates",
                                                       "SSESpecification",
                                                       "TableClass",
                                                       "ReplicaUpdates",
                                                       "DeletionProtectionEnabled",
                                                       "OnDemandThroughput",
                                                       "WarmThroughput",
                                                       "GlobalTableSettingsReplicationMode",
                                                       "DisassociationProtectionEnabled"};
    return std::any_of(Changes.begin(), Changes.end(),
                       [&](std::string_view change) { return hasMember(request, change); });
}

bool changesCapacity(const Items::JsonValue& request)
{
    return hasMember(request, "ProvisionedThroughput") || hasMember(request, "BillingMode");
}

} // namespace

Failure updateTable(const Items::JsonValue& request, Context& context, JsonWriter* reply)
{
    if (Failure failure = TableOptions::refuseUnavailable(request))
        return failure;
    if (!asksForAnything(request))
        return Errors::validation("At least one of ProvisionedThroughput, BillingMode, UpdateStreamEnabled, "
                                  "GlobalSecondaryIndexUpdates or SSESpecification or ReplicaUpdates is required");
    const auto change = [&](Table* table) -> Failure {
        const bool wasOnDemand = table->isOnDemand;
        if (Failure failure = changesCapacity(request) ? TableOptions::readCapacity(request, table) : std::nullopt)
            return failure;
        if (table->isOnDemand && !wasOnDemand)
            table->onDemandSince = TableOptions::secondsOf(context.settings.now());
        TableOptions::readOthers(request, table);
        return std::nullopt;
    };
    std::shared_ptr<const Table> table;
    if (Failure failure = context.tables.update(textIn(request, "TableName"), change, &table))
        return failure;
    return describe(*table, "TableDescription", context, reply);
}

} // namespace Api
