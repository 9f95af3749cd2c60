#include "api/tableoptions.h"

#include "api/members.h"
#include "api/reasons.h"

#include <array>
#include <string>
#include <string_view>
#include <utility>

namespace Api {

namespace {

constexpr long long MostUnits = 1'000'000'000'000;

/** Members that are refused, whatever their value. */
constexpr std::array Unavailable{
    std::pair{std::string_view("ReplicaUpdates"), Reasons::OneRegion},
    std::pair{std::string_view("GlobalTableSourceArn"), Reasons::OneRegion},
    std::pair{std::string_view("GlobalTableWitnessUpdates"), Reasons::OneRegion},
    std::pair{std::string_view("MultiRegionConsistency"), Reasons::OneRegion},
    std::pair{std::string_view("VectorIndexes"), Reasons::NoVectors},
    std::pair{std::string_view("VectorIndexUpdates"), Reasons::NoVectors},
    std::pair{std::string_view("ResourcePolicy"), Reasons::NoPolicies},
};

Failure unavailable(std::string_view member, std::string_view reason)
{
    return Errors::invalidParameter(std::string(member).append(": ").append(reason));
}

Failure refuseIndexes(const Items::JsonValue& request)
{
    for (const std::string_view name : {"LocalSecondaryIndexes", "GlobalSecondaryIndexes"}) {
        const Items::JsonValue* const indexes = member(request, name);
        if (indexes != nullptr && indexes->Empty())
            return Errors::invalidParameter("List of " + std::string(name) + " is empty");
        if (indexes != nullptr)
            return unavailable(name, "secondary indexes are not available yet");
    }
    if (const Items::JsonValue* const changes = member(request, "GlobalSecondaryIndexUpdates");
        changes != nullptr && !changes->Empty())
        return unavailable("GlobalSecondaryIndexUpdates", "secondary indexes are not available yet");
    return std::nullopt;
}

bool isEnabled(const Items::JsonValue& request, std::string_view settings, std::string_view switchName)
{
    const Items::JsonValue* const found = member(request, settings);
    return found != nullptr && boolIn(*found, switchName).value_or(false);
}

Failure checkUnits(std::string_view name, long long units)
{
    if (units <= MostUnits)
        return std::nullopt;
    return Errors::validation("Given value " + std::to_string(units) + " for " + std::string(name) +
                              " is out of bounds");
}

} // namespace

Failure TableOptions::refuseUnavailable(const Items::JsonValue& request)
{
    if (Failure failure = refuseIndexes(request))
        return failure;
    if (isEnabled(request, "StreamSpecification", "StreamEnabled"))
        return unavailable("StreamSpecification", Reasons::NoStreams);
    if (isEnabled(request, "SSESpecification", "Enabled"))
        return unavailable("SSESpecification", "the server does not encrypt its files");
    for (const auto& [name, reason] : Unavailable) {
        if (hasMember(request, name))
            return unavailable(name, reason);
    }
    return std::nullopt;
}

Failure TableOptions::readCapacity(const Items::JsonValue& request, Table* table)
{
    const Items::JsonValue* const throughput = member(request, "ProvisionedThroughput");
    if (const std::string_view mode = textIn(request, "BillingMode"); !mode.empty())
        table->isOnDemand = mode == "PAY_PER_REQUEST";
    if (table->isOnDemand && throughput != nullptr)
        return Errors::invalidParameter("Neither ReadCapacityUnits nor WriteCapacityUnits can be specified when "
                                        "BillingMode is PAY_PER_REQUEST");
    if (table->isOnDemand) {
        table->readUnits = table->writeUnits = 0;
        return std::nullopt;
    }
    if (throughput != nullptr) {
        table->readUnits = numberIn(*throughput, "ReadCapacityUnits").value_or(0);
        table->writeUnits = numberIn(*throughput, "WriteCapacityUnits").value_or(0);
    }
    if (table->readUnits == 0 || table->writeUnits == 0)
        return Errors::invalidParameter("ReadCapacityUnits and WriteCapacityUnits must both be specified when "
                                        "BillingMode is PROVISIONED");
    if (Failure failure = checkUnits("ReadCapacityUnits", table->readUnits))
        return failure;
    return checkUnits("WriteCapacityUnits", table->writeUnits);
}

void TableOptions::readOthers(const Items::JsonValue& request, Table* table)
{
    if (const std::string_view tableClass = textIn(request, "TableClass"); !tableClass.empty())
        table->tableClass = tableClass;
    if (const std::optional<bool> isProtected = boolIn(request, "DeletionProtectionEnabled"))
        table->isProtected = *isProtected;
}

Failure TableOptions::addTags(const Items::JsonValue& tags, Table* table)
{
    for (const Items::JsonValue& tag : tags.GetArray())
        table->tags.insert_or_assign(std::string(textIn(tag, "Key")), std::string(textIn(tag, "Value")));
    if (table->tags.size() > MostTags)
        return Errors::limitExceeded("A table can have " + std::to_string(MostTags) + " tags");
    return std::nullopt;
}

double TableOptions::secondsOf(std::chrono::system_clock::time_point time)
{
    using Milliseconds = std::chrono::duration<long long, std::milli>;
    return static_cast<double>(std::chrono::duration_cast<Milliseconds>(time.time_since_epoch()).count()) / 1000;
}

} // namespace Api
