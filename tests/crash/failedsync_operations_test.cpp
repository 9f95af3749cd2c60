// What each operation answers after the log could not be synced.
#include "failedsync.h"

#include <utility>
#include <vector>

namespace {

class FailedSyncOperations : public FailedSync {
protected:
    using Requests = std::vector<std::pair<QByteArray, QVariantMap>>;

    QVariantMap table(const QVariantMap& members) const { return merged(table_, members); }

    Requests changes() const
    {
        const QString name = table_.value("TableName").toString();
        const QVariantMap key = itemKey("h", "before");
        const QVariantMap item{{"h", textValue("h")}, {"r", textValue("refused")}};
        const QVariantMap updates{{"text", QVariantMap{{"Value", textValue("changed")}}}};
        const QVariantList batch{QVariantMap{{"PutRequest", QVariantMap{{"Item", item}}}}};
        const QVariantMap entry{{"TableName", name}, {"Key", key}, {"Delete", true}};
        return {{"PutItem", table({{"Item", item}})},
                {"UpdateItem", table({{"Key", key}, {"AttributeUpdates", updates}})},
                {"DeleteItem", table({{"Key", key}})},
                {"BatchWriteItem", {{"RequestItems", QVariantMap{{name, batch}}}}},
                {"Quorva_1.Commit", {{"Entries", QVariantList{entry}}}},
                {"CreateTable", {{"TableName", name + "2"}, {"KeySchema", keySchema()}}},
                {"UpdateTable", flush_},
                {"Quorva_1.TruncateTable", table_},
                {"Quorva_1.CompactTable", table({{"Partition", 144}})}, // that of the item
                {"Quorva_1.DropTable", table_}};
    }

    Requests reads() const
    {
        return {{"GetItem", table({{"Key", itemKey("h", "before")}})},
                {"Query", table({{"HashKeyValue", textValue("h")}})},
                {"Scan", table_},
                {"DescribeTable", table_},
                {"Quorva_1.ListTables", {{"Directory", QString::fromStdString(home_)}}},
                {"Quorva_1.Status", {}}};
    }

    /** Each change is answered with an error, and changes nothing. */
    void expectRefusals()
    {
        const QVariantMap key = reads().front().second;
        const QVariantMap before = server_->request("GetItem", key);
        for (const auto& [operation, body] : changes()) {
            const QVariantMap reply = server_->request(operation, body);
            EXPECT_EQ(reply.value("__type"), internalErrorReply().value("__type")) << operation.toStdString();
            EXPECT_EQ(server_->request("GetItem", key), before) << operation.toStdString();
            EXPECT_FALSE(has("refused")) << operation.toStdString();
        }
    }

    const QVariantMap flush_ = table({{"ProvisionedThroughput", QVariantMap{{"FlushDB", "1"}}}});
};

TEST_F(FailedSyncOperations, NoChangeIsMadeAndReadsAreAnswered)
{
    configureUnsynchronousLog();
    ASSERT_NO_FATAL_FAILURE(startWithTable("/log."));
    failASync();
    expectRefusals();
    for (const auto& [operation, body] : reads())
        EXPECT_EQ(server_->request(operation, body).value("__rc"), QVariant(200LL)) << operation.toStdString();
}

TEST_F(FailedSyncOperations, NoChangeIsMadeByAServerWhoseCommitsDoNotWait)
{
    configureUnsynchronousLog();
    ASSERT_NO_FATAL_FAILURE(startWithTable("/log.", {"-n"}));
    breakDisk();
    EXPECT_EQ(server_->request("UpdateTable", flush_).value("__type"), internalErrorReply().value("__type"));
    mendDisk();
    expectRefusals();
}

TEST_F(FailedSyncOperations, ABackupFails)
{
    configureUnsynchronousLog();
    ASSERT_NO_FATAL_FAILURE(startWithTable("/log."));
    failASync();
    const QVariantMap backup{{"DbBackup", QString::fromStdString(directory_.makeDirectory("backup"))}};
    (void)server_->request("UpdateTable", table({{"ProvisionedThroughput", backup}})); // it begins after the reply
    EXPECT_TRUE(server_->waitForLog("Dbenv backup failed rc 5")) << server_->logText();
}

} // namespace
