#include "api/members.h"
#include "api/tablecatalog.h"
#include "api/tablefigures.h"
#include "api/tableoperations.h"
#include "api/tableoptions.h"

#include <algorithm>
#include <array>
#include <string>
#include <string_view>

namespace Api {

namespace {

bool asksForCapacity(const Items::JsonValue& request)
{
    return hasMember(request, "ProvisionedThroughput") || hasMember(request, "BillingMode");
}

/** The last four are ignored; but a request may have nothing else. */
bool asksForOthers(const Items::JsonValue& request)
{
    constexpr std::array<std::string_view, 10> Others{"StreamSpecification",
                                                      "GlobalSecondaryIndexUpdates",
                                                      "SSESpecification",
                                                      "TableClass",
                                                      "ReplicaUpdates",
                                                      "DeletionProtectionEnabled",
                                                      "OnDemandThroughput",
                                                      "WarmThroughput",
                                                      "GlobalTableSettingsReplicationMode",
                                                      "DisassociationProtectionEnabled"};
    return std::any_of(Others.begin(), Others.end(), [&](std::string_view other) { return hasMember(request, other); });
}

/** Fails if the request asks for nothing but the throughput that the table has. */
Failure checkNewUnits(const Items::JsonValue& request, const Table& present, const Table& wanted)
{
    if (!hasMember(request, "ProvisionedThroughput") || asksForOthers(request) || present.isOnDemand ||
        present.readUnits != wanted.readUnits || present.writeUnits != wanted.writeUnits)
        return std::nullopt;
    const auto both = [](const std::string& name, long long units) {
        const std::string number = std::to_string(units);
        return " Current " + name + " provisioned for the table: " + number + ". Requested " + name + ": " + number +
               '.';
    };
    return Errors::validation("The provisioned throughput for the table will not change. The requested value equals "
                              "the current value." +
                              both("ReadCapacityUnits", wanted.readUnits) +
                              both("WriteCapacityUnits", wanted.writeUnits));
}

} // namespace

Failure updateTable(const Items::JsonValue& request, Context& context, JsonWriter* reply)
{
    if (Failure failure = TableOptions::refuseUnavailable(request))
        return failure;
    if (!asksForCapacity(request) && !asksForOthers(request))
        return Errors::validation("At least one of ProvisionedThroughput, BillingMode, UpdateStreamEnabled, "
                                  "GlobalSecondaryIndexUpdates or SSESpecification or ReplicaUpdates is required");
    const auto change = [&](Table* table) -> Failure {
        const Table present = *table;
        if (Failure failure = asksForCapacity(request) ? TableOptions::readCapacity(request, table) : std::nullopt)
            return failure;
        if (Failure failure = checkNewUnits(request, present, *table))
            return failure;
        if (table->isOnDemand && !present.isOnDemand)
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
