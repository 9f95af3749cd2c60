/* Directories with many tables, and with more open files than a directory can have. */
#include "itemfixture.h"

#include "format/partitions.h"
#include "protocol/bodies.h"
#include "protocol/limits.h"

#include <filesystem>
#include <string>
#include <vector>

namespace {

class ApiRoom : public ApiItems {
protected:
    /** Hash keys, the nth of which belongs to the partition n. */
    static std::vector<QString> hashKeys()
    {
        std::vector<QString> keys(Partitions::Count);
        std::size_t found = 0;
        for (int n = 0; found < keys.size(); ++n) {
            const std::string key = 'k' + std::to_string(n);
            QString& place = keys[Partitions::ofHashKey(key)];
            found += place.isEmpty() ? 1 : 0;
            place = QString::fromStdString(key);
        }
        return keys;
    }

    QString real(const std::string& table) const { return QString::fromStdString(directory_.path() + '|' + table); }

    QVariantMap status() { return server_.request("Quorva_1.Status", {}).value("Environments").toList().at(0).toMap(); }

    /** Opens files of the directory up to the limit, in tables "full0" and so on. */
    void fill()
    {
        const std::vector<QString> keys = hashKeys();
        long long left = Limits::OpenDatabases - status().value("Files").toLongLong();
        for (int table = 0; left > 0; ++table) {
            const QString name = real("full" + std::to_string(table));
            EXPECT_EQ(server_.request("CreateTable", Bodies::createTable(name, "id", "ax")).value("__rc"), 200);
            --left;
            QVariantList puts;
            for (std::size_t n = 0; n < keys.size() && left > 0; ++n, --left) {
                const QVariantMap item{{"id", QVariantMap{{"S", keys[n]}}}, {"ax", QVariantMap{{"S", "1"}}}};
                puts.append(QVariantMap{{"PutRequest", QVariantMap{{"Item", item}}}});
            }
            EXPECT_EQ(server_.request("BatchWriteItem", Bodies::batchWrite({{name, puts}})).value("__rc"), 200);
        }
        EXPECT_EQ(status().value("Files").toLongLong(), Limits::OpenDatabases);
    }

    std::string scanOf(const std::string& table) const
    {
        return done("Scan", R"({"TableName":")" + table + R"(","Select":"COUNT"})");
    }
};

} // namespace

TEST_F(ApiRoom, ADirectoryHasRoomForManyTablesThatAreScanned)
{
    constexpr int Tables = 20; // with a file for each partition, four would be too many
    for (int n = 0; n < Tables; ++n)
        createTable("table" + std::to_string(n), "S", "");
    for (int n = 0; n < Tables; ++n) {
        const std::string name = "table" + std::to_string(n);
        (void)done("PutItem", R"({"TableName":")" + name + R"(","Item":{"id":{"S":"a"}}})");
        EXPECT_EQ(scanOf(name), R"({"Count":1,"ScannedCount":1})") << n;
    }
    EXPECT_LE(status().value("Files").toLongLong(), 1 + 2 * Tables);
}

TEST_F(ApiRoom, AFullDirectorySaysSoAndServesWhatIsOpen)
{
    fill();
    const std::string full = "LimitExceededException: The directory " + directory_.path() +
                             " has 1023 files of tables open, the most that it can have; put the table into another "
                             "directory";
    const std::string keys =
        R"("KeySchema":[{"AttributeName":"id","KeyType":"HASH"}],)"
        R"("AttributeDefinitions":[{"AttributeName":"id","AttributeType":"S"}],"BillingMode":"PAY_PER_REQUEST"})";
    EXPECT_EQ(failed("CreateTable", R"({"TableName":"further",)" + keys), full);
    EXPECT_FALSE(std::filesystem::exists(directory_.path() + "/further"));
    EXPECT_EQ(failed("PutItem", put("a", "1")), full);
    EXPECT_EQ(failed("UpdateItem", body(key("a", "1"))), full);
    EXPECT_EQ(failed("BatchWriteItem", R"({"RequestItems":{"items":[{"PutRequest":{)" + item("a", "1") + "}}]}}"),
              full);
    EXPECT_EQ(done("GetItem", body(key("a", "1"))), "{}");
    EXPECT_EQ(scanOf("items"), R"({"Count":0,"ScannedCount":0})");
    EXPECT_EQ(scanOf("full0"), R"({"Count":256,"ScannedCount":256})");

    const QVariantMap reply = server_.request("CreateTable", Bodies::createTable(real("further"), "id", "ax"));
    EXPECT_EQ(reply.value("__type"), "InternalServerError");
    EXPECT_FALSE(std::filesystem::exists(directory_.path() + "/further"));
    EXPECT_TRUE(server_.waitForLog("[WARN] " + directory_.path() +
                                   " has as many database files open as a directory can have; further tables need "
                                   "another directory"));
    EXPECT_EQ(static_cast<long long>(status().value("Files").toLongLong()), Limits::OpenDatabases);
}

TEST_F(ApiRoom, AnyOtherFailureOfTheServerRefersToItsLog)
{
    (void)directory_.makeDirectory("items_b9.db"); // in place of the data file of "a"
    const Api::Reply reply = call("GetItem", body(key("a", "1")));
    EXPECT_EQ(reply.status, 500);
    EXPECT_EQ(reply.body.toStdString(),
              R"({"__type":"com.amazonaws.dynamodb.v20120810#InternalServerError","message":"The server: The server )"
              R"(encountered an internal error. The reason is in the server's log."})");
    EXPECT_TRUE(server_.waitForLog("Failed to open DB dbpath: items_b9.db dbname data rc 21"));
}
