#include "api/tablefigures.h"

#include "api/apifixture.h"
#include "protocol/bodies.h"
#include "support/waituntil.h"

#include <filesystem>
#include <iterator>
#include <string>

namespace {

using testing::HasSubstr;

class DescribeTable : public ApiTest {
protected:
    std::string describe() { return call("DescribeTable", R"({"TableName":"orders"})"); }

    void put(int first, int last)
    {
        const QString table = QString::fromStdString(directory_) + "|orders";
        QVariantList puts;
        for (int i = first; i < last; ++i)
            puts.append(Bodies::putRequest(
                QVariantMap{{"id", Bodies::stringValue(QString::number(i))}, {"at", Bodies::stringValue("x")}}));
        ASSERT_EQ(server_.request("BatchWriteItem", Bodies::batchWrite({{table, puts}}))["__rc"], 200);
    }
};

} // namespace

TEST_F(DescribeTable, EstimatesItemsFromTheFilesAndMakesNone)
{
    makeTable("orders", "S", "S");
    const auto sizeOnDisk = [&] {
        std::uintmax_t bytes = 0;
        for (const auto& file : std::filesystem::directory_iterator(directory_)) {
            if (file.path().filename().string().starts_with("orders"))
                bytes += file.file_size();
        }
        return bytes;
    };
    const auto estimates = [&](int items) {
        return waitUntil([&] { // files grow when pages are written, at any time
            const std::string size = std::to_string(sizeOnDisk());
            return describe().find("\"TableSizeBytes\":" + size + ",\"ItemCount\":" + std::to_string(items) + ',') !=
                   std::string::npos;
        });
    };
    EXPECT_TRUE(estimates(0)) << describe();
    put(0, 3); // in three files
    EXPECT_TRUE(estimates(3)) << describe();
    const auto files = std::distance(std::filesystem::directory_iterator(directory_), {});
    EXPECT_EQ(files, 1 + 1 + 3) << "the log, the description, and a data file for each item";
}

TEST(EstimatedItems, GrowWithTheFiles)
{
    EXPECT_EQ(Api::estimatedItems(0, 0), 0);
    EXPECT_EQ(Api::estimatedItems(1, 8192), 0);
    EXPECT_EQ(Api::estimatedItems(1, 10240), 0) << "a description with tags";
    EXPECT_EQ(Api::estimatedItems(4, 4 * 8192), 3);
    EXPECT_EQ(Api::estimatedItems(4, 16384 + 3 * 8192 + 10 * 1024), 13);
    EXPECT_EQ(Api::estimatedItems(257, 257 * 8192), 0) << "a scan has made all files";
    EXPECT_EQ(Api::estimatedItems(257, 16384 + 256 * 8192 + 5000 * 1024), 5000);
}

TEST_F(DescribeTable, ServesWhatProgramsAskForAtTheirStart)
{
    makeTable("orders");
    const char* table = R"({"TableName":"orders"})";
    EXPECT_EQ(call("DescribeTimeToLive", table), R"({"TimeToLiveDescription":{"TimeToLiveStatus":"DISABLED"}})");
    EXPECT_EQ(call("DescribeContinuousBackups", table),
              R"({"ContinuousBackupsDescription":{"ContinuousBackupsStatus":"DISABLED",)"
              R"("PointInTimeRecoveryDescription":{"PointInTimeRecoveryStatus":"DISABLED"}}})");
    EXPECT_EQ(call("DescribeEndpoints", "{}"),
              R"({"Endpoints":[{"Address":"localhost:8000","CachePeriodInMinutes":1440}]})");
    EXPECT_EQ(call("DescribeLimits", "{}"),
              R"({"AccountMaxReadCapacityUnits":80000,"AccountMaxWriteCapacityUnits":80000,)"
              R"("TableMaxReadCapacityUnits":40000,"TableMaxWriteCapacityUnits":40000})");
}

TEST_F(DescribeTable, ATableThatIsMissingIsNamedInEachWay)
{
    const char* table = R"({"TableName":"others"})";
    const std::string notFound = errorText(std::string(ApiType) + "ResourceNotFoundException",
                                           "Requested resource not found: Table: others not found");
    EXPECT_EQ(refusal("DescribeTable", table), notFound);
    EXPECT_EQ(refusal("DescribeTimeToLive", table), notFound);
    EXPECT_EQ(refusal("DescribeContinuousBackups", table),
              errorText(std::string(ApiType) + "TableNotFoundException", "Table not found: others"));
}
