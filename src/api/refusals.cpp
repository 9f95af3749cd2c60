// The operations of the API that are not served, and why.
#include "api/operation.h"
#include "api/reasons.h"
#include "items/utf8.h"

#include <algorithm>
#include <array>
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

constexpr std::array Refusals{
    Refusal{"BatchExecuteStatement", NoStatements},
    Refusal{"CancelBulkOperation", NoBuckets},
    Refusal{"CreateBackup", NoBackups},
    Refusal{"CreateGlobalTable", Reasons::OneRegion},
    Refusal{"DeleteBackup", NoBackups},
    Refusal{"DeleteResourcePolicy", Reasons::NoPolicies},
    Refusal{"DescribeBackup", NoBackups},
    Refusal{"DescribeBulkOperation", NoBuckets},
    Refusal{"DescribeContributorInsights", NoInsights},
    Refusal{"DescribeExport", NoBuckets},
    Refusal{"DescribeGlobalTable", Reasons::OneRegion},
    Refusal{"DescribeGlobalTableSettings", Reasons::OneRegion},
    Refusal{"DescribeImport", NoBuckets},
    Refusal{"DescribeKinesisStreamingDestination", Reasons::NoStreams},
    Refusal{"DescribeTableReplicaAutoScaling", NoScaling},
    Refusal{"DisableKinesisStreamingDestination", Reasons::NoStreams},
    Refusal{"EnableKinesisStreamingDestination", Reasons::NoStreams},
    Refusal{"ExecuteStatement", NoStatements},
    Refusal{"ExecuteTransaction", NoStatements},
    Refusal{"ExportTableToPointInTime", NoBuckets},
    Refusal{"GetResourcePolicy", Reasons::NoPolicies},
    Refusal{"ImportTable", NoBuckets},
    Refusal{"ListBackups", NoBackups},
    Refusal{"ListBulkOperations", NoBuckets},
    Refusal{"ListContributorInsights", NoInsights},
    Refusal{"ListExports", NoBuckets},
    Refusal{"ListGlobalTables", Reasons::OneRegion},
    Refusal{"ListImports", NoBuckets},
    Refusal{"PutResourcePolicy", Reasons::NoPolicies},
    Refusal{"RestoreTableFromBackup", NoBackups},
    Refusal{"RestoreTableToPointInTime", NoBackups},
    Refusal{"SearchVectors", Reasons::NoVectors},
    Refusal{"StartBulkPutItems", NoBuckets},
    Refusal{"TransactGetItems", NoTransactions},
    Refusal{"TransactWriteItems", NoTransactions},
    Refusal{"UpdateContinuousBackups", NoBackups},
    Refusal{"UpdateContributorInsights", NoInsights},
    Refusal{"UpdateGlobalTable", Reasons::OneRegion},
    Refusal{"UpdateGlobalTableSettings", Reasons::OneRegion},
    Refusal{"UpdateKinesisStreamingDestination", Reasons::NoStreams},
    Refusal{"UpdateTableReplicaAutoScaling", NoScaling},
    Refusal{"UpdateTimeToLive", NoExpiry},
};

} // namespace

Error refusalOf(std::string_view name)
{
    const auto found =
        std::find_if(Refusals.begin(), Refusals.end(), [&](const Refusal& refusal) { return refusal.name == name; });
    if (found == Refusals.end())
        return Errors::unknownOperation(Items::isUtf8(name) ? "There is no operation " + std::string(name)
                                                            : "There is no operation of this name, which is not UTF-8");
    return Errors::unknownOperation(std::string(name) + " is not available: " + std::string(found->reason));
}

} // namespace Api
