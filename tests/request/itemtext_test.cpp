#include "requestbench.h"

#include "records/encoding.h"
#include "storage/bdbindex.h"
#include "storage/settings.h"

#include <db_cxx.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <map>

namespace {

/**
 * Writes of items through the body's text, as a client sends it, and through its tree. The server keeps canonical items
 * as text; this must not be visible in what it stores and replies.
 */
class ItemText : public testing::Test {
protected:
    ItemText() : flags_(Settings::txnCommitFlags()) { Settings::setTxnCommitFlags(DB_TXN_NOSYNC); } // as time counts
    ~ItemText() override { Settings::setTxnCommitFlags(flags_); }

    struct Result {
        bool isJson;
        int status;
        QByteArray reply;
        std::map<QByteArray, QByteArray> stored;

        bool operator==(const Result&) const = default;
    };

    static void addRecords(Db* db, Result* result)
    {
        Dbc* cursor = nullptr;
        ASSERT_EQ(db->cursor(nullptr, &cursor, 0), 0);
        const auto bytes = [](const Dbt& dbt) {
            return QByteArray(static_cast<const char*>(dbt.get_data()), static_cast<qsizetype>(dbt.get_size()));
        };
        Dbt key;
        Dbt data;
        key.set_flags(DB_DBT_REALLOC);
        data.set_flags(DB_DBT_REALLOC);
        while (cursor->get(&key, &data, DB_NEXT) == 0)
            result->stored[bytes(key)] = bytes(data);
        std::free(key.get_data());
        std::free(data.get_data());
        EXPECT_EQ(cursor->close(), 0);
    }

    /** Runs `operation` in a separate table. `asText`: the request parses the body; otherwise it is a plain tree. */
    static Result run(const QByteArray& operation, QByteArray body, bool asText)
    {
        RequestBench bench;
        EXPECT_EQ(bench.createTable().status, 0);
        const QByteArray tableName = bench.tableBytes();
        body.replace("TABLE", tableName);

        BDBObjTable connection(256);
        BDBRequest request(bench.registry(), &connection, 1024);
        request.operation = Operations::fullName(operation);
        request.body = body;
        Result result{};
        if (asText) {
            result.isJson = Requests::run(request);
        } else if (QVariant tree; Json::parse(body, &tree)) {
            result.isJson = true;
            request.parsedBody = RequestBody(tree.toMap());
            Requests::dispatch(request);
        }
        if (!result.isJson)
            return result;
        result.status = request.status;
        result.reply = Json::serialize(request.reply).replace(tableName, "TABLE");
        EnvironmentUse use;
        bench.openEnvironment(&use);
        for (const char* hash : {"h", "é"}) {
            const unsigned partition = Records::partitionOf(QString::fromUtf8(hash).toLatin1(), PartitionCount);
            addRecords(RequestBench::openDatabase(use.env(), Records::dataFileName("t", partition), "data"), &result);
        }
        return result;
    }

    /** Expects the same both ways; `stored` says whether anything was written. */
    static void expectSame(const QByteArray& operation, const QByteArray& body, bool stored)
    {
        const Result text = run(operation, body, true);
        const Result tree = run(operation, body, false);
        EXPECT_EQ(text.isJson, tree.isJson) << body.toStdString();
        EXPECT_EQ(text.status, tree.status) << body.toStdString();
        EXPECT_EQ(text.reply, tree.reply) << body.toStdString();
        EXPECT_EQ(text.stored, tree.stored) << body.toStdString();
        EXPECT_EQ(!text.stored.empty(), stored) << body.toStdString();
    }

private:
    const u_int32_t flags_;
};

/** Items of the hash key "h" in forms that are and are not canonical. */
constexpr const char* Items[] = {
    R"({"h":{"S":"h"},"r":{"S":"1"}})",
    R"({"a":{"S":"x"},"h":{"S":"h"},"n":{"N":"1"},"r":{"S":"1"},"z":{"SS":["b","a"]}})",
    R"({"z":{"S":"x"},"r":{"S":"1"},"h":{"S":"h"},"a":{"N":"1"}})",
    R"({ "h" : { "S" : "h" } , "r" : { "S" : "1" } , "a" : 1 })",
    R"({"a":{"S":"x"},"a":{"S":"y"},"h":{"S":"h"},"r":{"S":"1"}})",
    R"({"a":{"y":1,"x":2},"h":{"S":"h"},"r":{"S":"1"}})",
    R"({"a":1.50,"b":1e2,"c":12345678901234567890,"d":-0,"h":{"S":"h"},"r":{"S":"1"}})",
    R"({"a":{"S":"\u00e9\u20ac\ud83d\ude00\/\u0041\n\u0001"},"h":{"S":"h"},"r":{"S":"1"}})",
    R"({"a":{"S":"é€😀\n\u0001\""},"h":{"S":"h"},"r":{"S":"1"}})",
    R"({"h":{"S":"h"},"r":{"S":"1"},"é":{"S":"x"}})",
    R"({"h":{"S":"\u0068"},"r":{"S":"\n"}})",
    R"({"h":{"S":"é"},"r":{"S":"é"}})",
    R"({"h":{"S":"h"}})",
    R"({"h":{"S":"h"},"r":{"N":"2","S":"1"}})",
    R"({"a":[[[[[[[[[[[[[[[[[[[[1]]]]]]]]]]]]]]]]]]]],"h":{"S":"h"},"r":{"S":"1"}})",
};

constexpr const char* RefusedItems[] = {
    R"({"r":{"S":"1"}})",
    R"({"h":{"N":"h"},"r":{"S":"1"}})",
    R"({"h":{"S":"h"},"r":{"B":"1"}})",
    R"({"h":{"S":"€"}})",
    R"({"h":"h","r":"1"})",
    "{}",
    "5",
    "[]",
    "null",
};

TEST_F(ItemText, APutStoresAndAnswersWhatItsTreeWould)
{
    for (const QByteArray item : Items) {
        expectSame("PutItem", R"({"TableName":"TABLE","Item":)" + item + "}", true);
        expectSame("PutItem",
                   R"({"Item":)" + item +
                       R"(,"ReturnValues":"ALL_OLD","Expected":{"x":{"Exists":false}},"TableName":"TABLE"})",
                   true);
    }
    for (const QByteArray item : RefusedItems)
        expectSame("PutItem", R"({"TableName":"TABLE","Item":)" + item + "}", false);
    expectSame("PutItem", R"({"TableName":"TABLE","Item":{"h":{"S":"h"}},"Item":{"h":{"S":"h"},"r":{"S":"2"}}})", true);
    expectSame("PutItem", R"({"TableName":"TABLE","item":{"h":{"S":"h"}}})", false);
    expectSame("PutItem", R"({"TableName":"TABLE","Item":{"h":{"S":"h"}}},)", false);
}

TEST_F(ItemText, ABatchStoresAndAnswersWhatItsTreeWould)
{
    const auto batch = [](const QByteArray& entries) { return R"({"RequestItems":{"TABLE":[)" + entries + "]}}"; };
    for (const QByteArray item : Items)
        expectSame("BatchWriteItem", batch(R"({"PutRequest":{"Item":)" + item + "}}"), true);
    for (const QByteArray item : RefusedItems) // all of it is returned as UnprocessedItems
        expectSame(
            "BatchWriteItem",
            batch(R"({"PutRequest":{"Item":{"h":{"S":"h"},"r":{"S":"0"}}}},{"PutRequest":{"Item":)" + item + "}}"),
            false);
    expectSame("BatchWriteItem",
               batch(R"({"PutRequest":{"Item":{"h":{"S":"h"},"r":{"S":"0"}}}},{"DeleteRequest":{"Key":)"
                     R"({"HashKeyElement":{"S":"h"},"RangeKeyElement":{"S":"1"}}}})"),
               true);
}

TEST_F(ItemText, OtherOperationsReadAttributesNamedItem)
{
    const QByteArray key = R"("Key":{"HashKeyElement":{"S":"h"},"RangeKeyElement":{"S":"1"}})";
    expectSame("UpdateItem",
               R"({"TableName":"TABLE",)" + key + R"(,"AttributeUpdates":{"Item":{"Action":"PUT","Value":{"S":"x"}}}})",
               true);
    expectSame(
        "PutItem",
        R"({"TableName":"TABLE","Expected":{"Item":{"Exists":false}},"Item":{"Item":{"S":"x"},"h":{"S":"h"},"r":{"S":"1"}}})",
        true);
}

} // namespace
