#include "records/encoding.h"
#include "requestbench.h"
#include "storage/bdbenv.h"
#include "storage/bdbindex.h"
#include "storage/bdbtxn.h"
#include "support/logcapture.h"

#include <atomic>
#include <thread>

namespace {

using testing::ElementsAre;

/**
 * Holds the write lock of one record of the bench's table, in its own transaction, while operations try to get it. They
 * wait and repeatedly get DB_LOCK_DEADLOCK: the environment's lock timeout is the shortest possible.
 */
class LockedRecord {
public:
    LockedRecord(RequestBench& bench, const QByteArray& file, const char* subDb, QByteArray key)
    {
        bench.openEnvironment(&use_);
        db_ = RequestBench::openDatabase(use_.env(), file, subDb);
        EXPECT_EQ(use_.env()->set_timeout(1, DB_SET_LOCK_TIMEOUT), 0);
        EXPECT_EQ(txn_.begin(use_.env(), 0), 0);
        QByteArray value("{}");
        Dbt keyData(key.data(), static_cast<u_int32_t>(key.size()));
        Dbt valueData(value.data(), static_cast<u_int32_t>(value.size()));
        EXPECT_EQ(db_->put(&txn_, &keyData, &valueData, 0), 0);
    }
    ~LockedRecord() { EXPECT_EQ(use_.env()->set_timeout(0, DB_SET_LOCK_TIMEOUT), 0); }
    LockedRecord(const LockedRecord&) = delete;
    LockedRecord& operator=(const LockedRecord&) = delete;

    /** Fails the lock requests that have timed out. */
    void expire()
    {
        int rejected = 0;
        EXPECT_EQ(use_.env()->lock_detect(0, DB_LOCK_EXPIRE, &rejected), 0);
    }

    /** Restores the record and unlocks it. */
    void release() { EXPECT_EQ(txn_.abort(), 0); }

private:
    EnvironmentUse use_;
    BDBIndex* db_ = nullptr;
    BDBTxn txn_;
};

class Deadlock : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_EQ(bench_.createTable().status, StatusSuccess);
        ASSERT_EQ(bench_.run("PutItem", merged(table_, {{"Item", item_}})).status, StatusSuccess);
    }

    /** Runs the operation until `line` has been logged with two back-offs, then lets it succeed. Returns both lines. */
    std::vector<std::string> linesOf(LockedRecord& locked, const QByteArray& operation, const QVariantMap& body,
                                     Outcome* outcome)
    {
        const LogCapture log(LogWarn); // the environment's own threads log as well
        std::atomic<bool> done = false;
        std::thread running([&] {
            *outcome = bench_.run(operation, merged(table_, body));
            done = true;
        });
        EXPECT_TRUE(waitUntil([&] {
            locked.expire();
            return done || log.count("Got deadlock") >= 2;
        }));
        EXPECT_FALSE(done);
        locked.release();
        running.join();
        std::vector<std::string> lines = log.lines();
        lines.resize(std::min<std::size_t>(lines.size(), 2)); // it may have tried the lock once more before the release
        return lines;
    }

    LockedRecord lockItem()
    {
        return LockedRecord(bench_, "t_98.db", TableNames::DataSubDatabase, Records::recordKey("abc", "1"));
    }
    LockedRecord lockSchema() { return LockedRecord(bench_, "t", TableNames::MetaSubDatabase, "0011tableschema"); }

    RequestBench bench_;
    const QVariantMap table_{{"TableName", bench_.tableName()}};
    const QVariantMap key_{{"Key", itemKey("abc", "1")}};
    const QVariantMap stored_{{"a", textValue("x")}};
    const QVariantMap item_ = merged(stored_, {{"h", textValue("abc")}, {"r", textValue("1")}});
};

// The first two consecutive deadlocks are silent; the back-off has doubled three times when the third is logged.

TEST_F(Deadlock, CreateTableWarnsFromTheThirdOn)
{
    LockedRecord locked = lockSchema();
    Outcome outcome;
    EXPECT_THAT(linesOf(locked, "CreateTable", {{"KeySchema", keySchema()}}, &outcome),
                ElementsAre("[WARN] createTable Got deadlock retry8", "[WARN] createTable Got deadlock retry16"));
    EXPECT_EQ(outcome.status, StatusSuccess);
    EXPECT_EQ(outcome.reply.value("TableDescription").toMap().value("KeySchema").toMap(), keySchema());
}

TEST_F(Deadlock, SchemaReadWarnsFromTheThirdOn)
{
    ASSERT_EQ(bench_.createTable().status, StatusSuccess); // so that the description is read again
    LockedRecord locked = lockSchema();
    Outcome outcome;
    EXPECT_THAT(linesOf(locked, "DescribeTable", {}, &outcome),
                ElementsAre("[WARN] loadSchema Got deadlock", "[WARN] loadSchema Got deadlock"));
    EXPECT_EQ(outcome.status, StatusSuccess);
    EXPECT_EQ(outcome.reply.value("Table").toMap().value("KeySchema").toMap(), keySchema());
}

TEST_F(Deadlock, PutItemWarnsFromTheThirdOn)
{
    LockedRecord locked = lockItem();
    Outcome outcome;
    EXPECT_THAT(linesOf(locked, "PutItem", {{"Item", item_}, {"ReturnValues", "ALL_OLD"}}, &outcome),
                ElementsAre("[WARN] putItem Got deadlock : retry 8 hkey abc rkey 1",
                            "[WARN] putItem Got deadlock : retry 16 hkey abc rkey 1"));
    EXPECT_EQ(outcome, (Outcome{StatusSuccess, {{"Attributes", stored_}}}));
}

TEST_F(Deadlock, GetItemWarnsFromTheThirdOn)
{
    LockedRecord locked = lockItem();
    Outcome outcome;
    EXPECT_THAT(linesOf(locked, "GetItem", key_, &outcome),
                ElementsAre("[WARN] getItem Got deadlock : retry 8 hkey abc rkey 1",
                            "[WARN] getItem Got deadlock : retry 16 hkey abc rkey 1"));
    EXPECT_EQ(outcome, (Outcome{StatusSuccess, {{"Item", stored_}}}));
}

TEST_F(Deadlock, DeleteItemWarnsFromTheThirdOn)
{
    LockedRecord locked = lockItem();
    Outcome outcome;
    EXPECT_THAT(linesOf(locked, "DeleteItem", merged(key_, {{"ReturnValues", "ALL_OLD"}}), &outcome),
                ElementsAre("[WARN] deleteItem Got deadlock : retry 8 hkey abc rkey 1",
                            "[WARN] deleteItem Got deadlock : retry 16 hkey abc rkey 1"));
    EXPECT_EQ(outcome, (Outcome{StatusSuccess, {{"Attributes", stored_}}}));
}

TEST_F(Deadlock, UpdateItemWarnsFromTheThirdOn)
{
    LockedRecord locked = lockItem();
    Outcome outcome;
    const QVariantMap add{{"a", QVariantMap{{"Action", "ADD"}, {"Value", textValue("y")}}}};
    EXPECT_THAT(linesOf(locked, "UpdateItem",
                        merged(key_, {{"AttributeUpdates", add}, {"ReturnValues", "UPDATED_NEW"}}), &outcome),
                ElementsAre("[WARN] updateItem Got deadlock : retry 8 hkey abc rkey 1",
                            "[WARN] updateItem Got deadlock : retry 16 hkey abc rkey 1"));
    // Once, however many attempts it took. In memory the sum ends in a zero byte, which the reply's text leaves out.
    EXPECT_EQ(outcome.status, StatusSuccess);
    EXPECT_EQ(Json::serialize(outcome.reply), R"({"Attributes":{"a":{"S":"xy"}}})");
}

} // namespace
