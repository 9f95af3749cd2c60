// The operations of the API that are not served, and why.
#include "api/operation.h"
#include "api/reasons.h"
#include "items/utf8.h"

#include <algorithm>
#include <iterator>
#include <string>

namespace Api {

namespace {

struct Refusal {
    std::string_view name;
    std::string_view reason;
};

constexpr std::string_view NoStatements = "statements in PartiQL are not understood here";
constexpr std::string_view NoTransactions = "transactions are not available yet";
constexpr std::string_view NoExpiry = "items do not expire here yet";
constexpr std::string_view NoBackups = "backups are made with quorvactl backup, see backup.md";
constexpr std::string_view NoBuckets =
    "there is no object storage to read from or write to; see quorvactl export and import";
constexpr std::string_view NoInsights = "figures are at /metrics, see monitoring.md";
constexpr std::string_view NoScaling = "capacity is not limited, so there is nothing to scale";

constexpr Refusal Refusals[] = {
    {"BatchExecuteStatement", NoStatements},
    {"CancelBulkOperation", NoBuckets},
    {"CreateBackup", NoBackups},
    {"CreateGlobalTable", Reasons::OneRegion},
    {"DeleteBackup", NoBackups},
    {"DeleteResourcePolicy", Reasons::NoPolicies},
    {"DescribeBackup", NoBackups},
    {"DescribeBulkOperation", NoBuckets},
    {"DescribeContributorInsights", NoInsights},
    {"DescribeExport", NoBuckets},
    {"DescribeGlobalTable", Reasons::OneRegion},
    {"DescribeGlobalTableSettings", Reasons::OneRegion},
    {"DescribeImport", NoBuckets},
    {"DescribeKinesisStreamingDestination", Reasons::NoStreams},
    {"DescribeTableReplicaAutoScaling", NoScaling},
    {"DisableKinesisStreamingDestination", Reasons::NoStreams},
    {"EnableKinesisStreamingDestination", Reasons::NoStreams},
    {"ExecuteStatement", NoStatements},
    {"ExecuteTransaction", NoStatements},
    {"ExportTableToPointInTime", NoBuckets},
    {"GetResourcePolicy", Reasons::NoPolicies},
    {"ImportTable", NoBuckets},
    {"ListBackups", NoBackups},
    {"ListBulkOperations", NoBuckets},
    {"ListContributorInsights", NoInsights},
    {"ListExports", NoBuckets},
    {"ListGlobalTables", Reasons::OneRegion},
    {"ListImports", NoBuckets},
    {"PutResourcePolicy", Reasons::NoPolicies},
    {"RestoreTableFromBackup", NoBackups},
    {"RestoreTableToPointInTime", NoBackups},
    {"SearchVectors", Reasons::NoVectors},
    {"StartBulkPutItems", NoBuckets},
    {"TransactGetItems", NoTransactions},
    {"TransactWriteItems", NoTransactions},
    {"UpdateContinuousBackups", NoBackups},
    {"UpdateContributorInsights", NoInsights},
    {"UpdateGlobalTable", Reasons::OneRegion},
    {"UpdateGlobalTableSettings", Reasons::OneRegion},
    {"UpdateKinesisStreamingDestination", Reasons::NoStreams},
    {"UpdateTableReplicaAutoScaling", NoScaling},
    {"UpdateTimeToLive", NoExpiry},
};

} // namespace

Error refusalOf(std::string_view name)
{
    const Refusal* const found = std::ranges::find(Refusals, name, &Refusal::name);
    if (found == std::end(Refusals))
        return Errors::unknownOperation(Items::isUtf8(name) ? "There is no operation " + std::string(name)
                                                            : "There is no operation of this name, which is not UTF-8");
    return Errors::unknownOperation(std::string(name) + " is not available: " + std::string(found->reason));
}

} // namespace Api
