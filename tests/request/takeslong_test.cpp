/* Requests on a thread that must not run long operations. */
#include "protocol/limits.h"
#include "records/encoding.h"
#include "request/requestbench.h"
#include "scanqueryfixture.h"
#include "support/directorycontents.h"
#include "support/logcapture.h"

#include <fstream>
#include <string>

namespace {

using testing::IsEmpty;

class TakesLong : public testing::Test {
protected:
    QVariantMap body(const QVariantMap& more) const { return merged({{"TableName", bench_.tableName()}}, more); }
    QVariantMap keyed(const QVariantMap& more = {}) const { return body(merged({{"Key", itemKey("h", "1")}}, more)); }
    QVariantMap batchOf(const QVariantList& entries) const
    {
        return {{"RequestItems", QVariantMap{{bench_.tableName(), entries}}}};
    }

    struct Request {
        QByteArray operation;
        QVariantMap body;
    };

    /** One of each operation that may be short. */
    std::vector<Request> requests() const
    {
        const QVariantMap updates{{"n", QVariantMap{{"Action", "ADD"}, {"Value", numberValue("1")}}}};
        return {
            {"GetItem", keyed()},
            {"DeleteItem", keyed()},
            {"UpdateItem", keyed({{"AttributeUpdates", updates}})},
            {"PutItem", body({{"Item", itemOf("h", "1")}})},
            {"Query", body({{"HashKeyValue", textValue("h")}})},
            {"BatchWriteItem", batchOf({putEntry(itemOf("h", "2")), deleteEntry("h", "1")})},
            {"Quorva_1.Commit", {{"Entries", QVariantList{keyed({{"Delete", true}})}}}},
        };
    }

    RequestBench bench_;
};

const Outcome takesLong{StatusTakesLong, {}};

} // namespace

TEST_F(TakesLong, WhatNeedsAnEnvironmentThatIsNotOpen)
{
    const LogCapture log;
    std::vector<Request> all = requests();
    all.push_back({"Quorva_1.DescribeBackup", body({})});
    for (const auto& [operation, request] : all)
        EXPECT_EQ(bench_.runIfShort(operation, request).status, StatusTakesLong) << operation.toStdString();
    EXPECT_THAT(log.lines(), IsEmpty());
    EXPECT_THAT(contentsOf(bench_.tableName().section('|', 0, 0).toStdString()), IsEmpty());
}

TEST_F(TakesLong, WhatNeedsADatabaseThatIsNotOpen)
{
    ASSERT_EQ(bench_.createTable().status, StatusSuccess);
    const LogCapture log;
    for (const auto& [operation, request] : requests()) {
        const bool writes = operation != "GetItem" && operation != "Query" && operation != "DeleteItem";
        // The others find that there is no file.
        EXPECT_EQ(bench_.runIfShort(operation, request).status, writes ? int{StatusTakesLong} : int{StatusSuccess})
            << operation.toStdString();
    }
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(TakesLong, AReadOfAFileThatIsNotOpen)
{
    ASSERT_EQ(bench_.createTable().status, StatusSuccess);
    const std::string directory = bench_.tableName().section('|', 0, 0).toStdString();
    const QByteArray name = Records::dataFileName(bench_.tableName().toUtf8(), unsigned(partitionOfHash("h")));
    std::ofstream(directory + '/' + Records::filePart(name).toStdString()).close();
    EXPECT_EQ(bench_.runIfShort("GetItem", keyed()).status, StatusTakesLong);
    EXPECT_EQ(bench_.runIfShort("Query", body({{"HashKeyValue", textValue("h")}})).status, StatusTakesLong);
}

TEST_F(TakesLong, NothingWhoseDatabasesAreOpen)
{
    ASSERT_EQ(bench_.createTable().status, StatusSuccess);
    for (const auto& [operation, request] : requests())
        ASSERT_EQ(bench_.run(operation, request).status, StatusSuccess) << operation.toStdString();
    for (const auto& [operation, request] : requests()) {
        const Outcome same = bench_.runIfShort(operation, request);
        EXPECT_EQ(same.status, StatusSuccess) << operation.toStdString();
    }
    EXPECT_EQ(bench_.runIfShort("GetItem", keyed()), (Outcome{StatusSuccess, {}})); // the batch has deleted it
    EXPECT_EQ(bench_.runIfShort("Quorva_1.DescribeBackup", body({})).status, StatusSuccess);
}

TEST_F(TakesLong, ABatchOfWhichOnlyOneDatabaseIsOpenWritesNothing)
{
    ASSERT_EQ(bench_.createTable().status, StatusSuccess);
    ASSERT_EQ(bench_.run("PutItem", body({{"Item", itemOf("h", "1")}})).status, StatusSuccess);
    const QString elsewhere = hashIn((partitionOfHash("h") + 1) % int(PartitionCount));
    const LogCapture log(LogWarn);
    const QVariantMap batch = batchOf({putEntry(itemOf("h", "2")), putEntry(itemOf(elsewhere, "1"))});
    EXPECT_EQ(bench_.runIfShort("BatchWriteItem", batch).status, StatusTakesLong);
    EXPECT_THAT(log.lines(), IsEmpty());
    const QVariantMap count = body({{"HashKeyValue", textValue("h")}, {"Count", true}});
    EXPECT_EQ(bench_.run("Query", count).reply.value("Count"), 1);
    EXPECT_EQ(bench_.run("BatchWriteItem", batch), (Outcome{StatusSuccess, {}}));
    EXPECT_EQ(bench_.run("Query", count).reply.value("Count"), 2);
}

TEST_F(TakesLong, AnUpdateThatReturnsKeysOfATableWhoseDescriptionIsNotOpenChangesNothing)
{
    ASSERT_EQ(bench_.createTable().status, StatusSuccess);
    const QVariantMap updates{{"n", QVariantMap{{"Action", "ADD"}, {"Value", numberValue("1")}}}};
    const auto update = [&](const char* returnValues) {
        return keyed({{"AttributeUpdates", updates}, {"ReturnValues", returnValues}});
    };
    ASSERT_EQ(bench_.run("DeleteTable", body({})).status, StatusSuccess); // closes it
    ASSERT_EQ(bench_.run("GetItem", keyed()).status, StatusSuccess);      // opens the item's database only
    for (const char* returnValues : {"ALL_NEW", "ALL_OLD"})
        EXPECT_EQ(bench_.runIfShort("UpdateItem", update(returnValues)).status, StatusTakesLong);
    EXPECT_EQ(bench_.run("GetItem", keyed()), (Outcome{StatusSuccess, {}}));

    const auto attributes = [](const Outcome& outcome) { return Json::serialize(outcome.reply.value("Attributes")); };
    EXPECT_EQ(attributes(bench_.run("UpdateItem", update("ALL_NEW"))), R"({"h":"h","n":{"N":"1"},"r":"1"})");
    EXPECT_EQ(attributes(bench_.runIfShort("UpdateItem", update("ALL_NEW"))), R"({"h":"h","n":{"N":"2"},"r":"1"})");
}

TEST_F(TakesLong, AQueryOfMoreThanAPage)
{
    ASSERT_EQ(bench_.createTable().status, StatusSuccess);
    ASSERT_EQ(bench_.run("PutItem", body({{"Item", itemOf("h", "1")}})).status, StatusSuccess);
    const auto query = [&](int limit) { return body({{"HashKeyValue", textValue("h")}, {"Limit", limit}}); };
    EXPECT_EQ(bench_.runIfShort("Query", query(Limits::PageItems + 1)), takesLong);
    EXPECT_EQ(bench_.runIfShort("Query", query(Limits::PageItems)).status, StatusSuccess);
    EXPECT_EQ(bench_.runIfShort("Query", body({{"HashKeyValue", textValue("h")}})).status, StatusSuccess);
}

TEST_F(TakesLong, WhatReadsDirectoriesWhateverIsOpen)
{
    const auto durationOf = [&](const char* operation, qsizetype bodyBytes = 0) {
        BDBObjTable connection(256);
        BDBRequest request(bench_.registry(), &connection, 1024);
        request.operation = operation;
        request.body = QByteArray(bodyBytes, ' ');
        return Requests::durationOf(request);
    };
    constexpr qsizetype most = 32 * 1024;
    for (const char* operation : {"Quorva_1.ListTables", "DynamoDB_20111205.DescribeTable"})
        EXPECT_EQ(durationOf(operation), Requests::Duration::Long) << operation;
    for (const char* operation : {"Quorva_1.Commit", "DynamoDB_20111205.PutItem", "DynamoDB_20111205.Nothing"}) {
        EXPECT_EQ(durationOf(operation, most), Requests::Duration::Short) << operation;
        EXPECT_EQ(durationOf(operation, most + 1), Requests::Duration::Long) << operation;
    }
    EXPECT_EQ(durationOf("Quorva_1.Status", most + 1), Requests::Duration::Apart);
}
