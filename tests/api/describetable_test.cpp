#include "api/apifixture.h"
#include "protocol/bodies.h"

#include <filesystem>
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

TEST_F(DescribeTable, CountsItemsOrEstimatesThem)
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
    EXPECT_THAT(describe(), HasSubstr("\"TableSizeBytes\":" + std::to_string(sizeOnDisk()) + ",\"ItemCount\":0,"));
    EXPECT_FALSE(std::filesystem::exists(directory_ + "/orders_00.db")); // it has not looked for items
    put(0, 3);
    EXPECT_THAT(describe(), HasSubstr("\"ItemCount\":3,"));

    put(3, 5000);
    step_ = std::chrono::milliseconds(201); // so one page of 2000 items is all there is time for
    const auto itemsIn = [](const std::string& description) {
        const std::string name = "\"ItemCount\":";
        return std::stoll(description.substr(description.find(name) + name.size()));
    };
    const long long estimate = itemsIn(describe());
    EXPECT_NE(estimate, 2000);
    EXPECT_THAT(estimate, testing::AllOf(testing::Gt(4000), testing::Lt(6000)));

    step_ = std::chrono::milliseconds(0);
    const auto known = now_;
    now_ = known + std::chrono::milliseconds(4019); // ten times as long as it took, by two looks at the clock, less one
    EXPECT_EQ(itemsIn(describe()), estimate);
    now_ = known + std::chrono::milliseconds(4020);
    EXPECT_EQ(itemsIn(describe()), 5000);
    EXPECT_THAT(describe(), HasSubstr("\"TableSizeBytes\":" + std::to_string(sizeOnDisk()) + ','));
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
