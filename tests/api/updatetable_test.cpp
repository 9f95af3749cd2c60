#include "api/apifixture.h"
#include "protocol/bodies.h"

namespace {

using testing::HasSubstr;
using testing::Not;

class UpdateTable : public ApiTest {
protected:
    static std::string body(const std::string& members) { return R"({"TableName":"orders",)" + members + '}'; }
    std::string update(const std::string& members) { return call("UpdateTable", body(members)); }
    std::string describe() { return withoutSize(call("DescribeTable", R"({"TableName":"orders"})")); }

    const std::string units_ = R"("ProvisionedThroughput":{"ReadCapacityUnits":3,"WriteCapacityUnits":4})";
};

} // namespace

TEST_F(UpdateTable, ChangesTheBillingModeAndStoresIt)
{
    makeTable("orders", "N", "B");
    now_ += std::chrono::seconds(60);
    const std::string updated = update(units_ + R"(,"BillingMode":"PROVISIONED")");
    const std::string provisioned =
        R"("ProvisionedThroughput":{"NumberOfDecreasesToday":0,"ReadCapacityUnits":3,"WriteCapacityUnits":4},)"
        R"("BillingModeSummary":{"BillingMode":"PROVISIONED","LastUpdateToPayPerRequestDateTime":1700000000.25})";
    EXPECT_THAT(updated, HasSubstr(provisioned));
    EXPECT_THAT(updated, HasSubstr(R"("TableStatus":"ACTIVE","CreationDateTime":1700000000.25,)"));
    start(directory_);
    EXPECT_EQ(withoutSize("{\"Table\"" + updated.substr(updated.find(':'))), describe());

    EXPECT_THAT(update(R"("BillingMode":"PAY_PER_REQUEST")"),
                HasSubstr(R"("ReadCapacityUnits":0,"WriteCapacityUnits":0},"BillingModeSummary":{"BillingMode":)"
                          R"("PAY_PER_REQUEST","LastUpdateToPayPerRequestDateTime":1700000060.25})"));
    EXPECT_THAT(describe(), HasSubstr(R"([{"AttributeName":"id","AttributeType":"N"},)"
                                      R"({"AttributeName":"at","AttributeType":"B"}])"));
}

TEST_F(UpdateTable, AProtectedTableIsNotDeleted)
{
    makeTable("orders");
    EXPECT_THAT(update(R"("DeletionProtectionEnabled":true)"), HasSubstr(R"("DeletionProtectionEnabled":true})"));
    EXPECT_EQ(refusal("DeleteTable", R"({"TableName":"orders"})"),
              errorText(ValidationType, "Resource cannot be deleted as it is currently protected against deletion. "
                                        "Disable deletion protection first."));
    EXPECT_EQ(call("ListTables", "{}"), R"({"TableNames":["orders"]})");
    update(R"("DeletionProtectionEnabled":false)");
    call("DeleteTable", R"({"TableName":"orders"})");
}

TEST_F(UpdateTable, SetsTheTableClass)
{
    makeTable("orders");
    EXPECT_THAT(describe(), Not(HasSubstr("TableClass")));
    EXPECT_THAT(update(R"("TableClass":"STANDARD_INFREQUENT_ACCESS")"),
                HasSubstr(R"("TableClassSummary":{"TableClass":"STANDARD_INFREQUENT_ACCESS"})"));
}

TEST_F(UpdateTable, AloneWhatIsIgnoredChangesNothing)
{
    makeTable("orders");
    const std::string before = describe();
    for (const char* const member :
         {R"("OnDemandThroughput":{"MaxReadRequestUnits":5})", R"("WarmThroughput":{"ReadUnitsPerSecond":12000})",
          R"("GlobalTableSettingsReplicationMode":"ENABLED")", R"("DisassociationProtectionEnabled":true)"}) {
        const std::string updated = update(member);
        EXPECT_EQ(withoutSize("{\"Table\"" + updated.substr(updated.find(':'))), before) << member;
    }
    start(directory_); // without what is cached
    EXPECT_EQ(describe(), before);
}

TEST_F(UpdateTable, ATableOfTheOldApiStaysOne)
{
    const QString real = QString::fromStdString(directory_) + "|orders";
    const QString hash =
        QStringLiteral("gr\u00f6\u00dfer"); // characters of Latin-1, not encoded as this API's keys are
    ASSERT_EQ(server_.request("CreateTable", Bodies::createTable(real, "customer", "date"))["__rc"], 200);
    ASSERT_EQ(server_.request("PutItem", Bodies::putItem(real, {{"customer", Bodies::stringValue(hash)},
                                                                {"date", Bodies::stringValue("b")},
                                                                {"c", Bodies::stringValue("d")}}))["__rc"],
              200);
    update(units_);
    start(directory_);
    EXPECT_EQ(call("GetItem", R"({"TableName":"orders","Key":{"customer":{"S":"größer"},"date":{"S":"b"}}})"),
              R"({"Item":{"c":{"S":"d"},"customer":{"S":"größer"},"date":{"S":"b"}}})");
    EXPECT_THAT(describe(), HasSubstr(R"([{"AttributeName":"customer","AttributeType":"S"},)"
                                      R"({"AttributeName":"date","AttributeType":"S"}])"));
}

TEST_F(UpdateTable, RefusesWhatItCannotDo)
{
    makeTable("orders");
    const auto expectInvalid = [&](const std::string& members, const std::string& message) {
        EXPECT_EQ(refusal("UpdateTable", body(members)), errorText(ValidationType, message)) << members;
    };
    const std::string invalid = "One or more parameter values were invalid: ";
    expectInvalid(R"("AttributeDefinitions":[])",
                  "At least one of ProvisionedThroughput, BillingMode, UpdateStreamEnabled, "
                  "GlobalSecondaryIndexUpdates or SSESpecification or ReplicaUpdates is required");
    expectInvalid(R"("BillingMode":"PROVISIONED")",
                  invalid + "ReadCapacityUnits and WriteCapacityUnits must both be specified when BillingMode is "
                            "PROVISIONED");
    expectInvalid(units_, invalid + "Neither ReadCapacityUnits nor WriteCapacityUnits can be specified when "
                                    "BillingMode is PAY_PER_REQUEST");
    expectInvalid(R"("ReplicaUpdates":[{"Create":{"RegionName":"elsewhere"}}])",
                  invalid + "ReplicaUpdates: there is one machine, and no other region to replicate to");
    expectInvalid(R"("GlobalSecondaryIndexUpdates":[{"Delete":{"IndexName":"other"}}])",
                  invalid + "GlobalSecondaryIndexUpdates: secondary indexes are not available yet");
    EXPECT_EQ(refusal("UpdateTable", R"({"TableName":"others","BillingMode":"PAY_PER_REQUEST"})"),
              errorText(std::string(ApiType) + "ResourceNotFoundException",
                        "Requested resource not found: Table: others not found"));
}

TEST_F(UpdateTable, RefusesTheThroughputThatTheTableHas)
{
    makeTable("orders");
    update(units_ + R"(,"BillingMode":"PROVISIONED")");
    const std::string before = describe();
    const std::string unchanged = errorText(
        ValidationType, "The provisioned throughput for the table will not change. The requested value equals the "
                        "current value. Current ReadCapacityUnits provisioned for the table: 3. Requested "
                        "ReadCapacityUnits: 3. Current WriteCapacityUnits provisioned for the table: 4. Requested "
                        "WriteCapacityUnits: 4.");
    EXPECT_EQ(refusal("UpdateTable", body(units_)), unchanged);
    EXPECT_EQ(refusal("UpdateTable", body(units_ + R"(,"BillingMode":"PROVISIONED")")), unchanged);
    EXPECT_EQ(describe(), before);
    EXPECT_THAT(update(units_ + R"(,"TableClass":"STANDARD")"), HasSubstr(R"({"TableClass":"STANDARD"})"));
    EXPECT_THAT(update(R"("ProvisionedThroughput":{"ReadCapacityUnits":3,"WriteCapacityUnits":5})"),
                HasSubstr(R"("ReadCapacityUnits":3,"WriteCapacityUnits":5})"));
}
