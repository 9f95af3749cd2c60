#ifndef QUORVA_TESTS_REQUEST_SCANQUERYFIXTURE_H
#define QUORVA_TESTS_REQUEST_SCANQUERYFIXTURE_H

#include "protocol/bodies.h"
#include "protocol/framing.h"
#include "protocol/operations.h"
#include "support/tablefixture.h"

#include <QCryptographicHash>

#include <atomic>
#include <filesystem>
#include <set>
#include <thread>
#include <vector>

/** The partition of a hash key, computed independently of the server. */
inline int partitionOfHash(const QString& hash)
{
    return static_cast<unsigned char>(QCryptographicHash::hash(hash.toLatin1(), QCryptographicHash::Md5).at(3));
}

/** The `n`th of the hash keys "k0", "k1", ... that belong to a partition. */
inline QString hashIn(int partition, int n = 0)
{
    for (int i = 0;; ++i) {
        const QString hash = 'k' + QString::number(i);
        if (partitionOfHash(hash) == partition && n-- == 0)
            return hash;
    }
}

/** The name of a partition's file. */
inline std::string dataFile(int partition, const std::string& table = "t")
{
    char name[16];
    std::snprintf(name, sizeof name, "_%02x.db", static_cast<unsigned>(partition));
    return table + name;
}

/** An item as a client writes it, and as Scan and Query return it. */
inline QVariantMap itemOf(const QString& hash, const QString& range, const QVariantMap& attributes = {})
{
    return merged(attributes, {{"h", textValue(hash)}, {"r", textValue(range)}});
}

// Entries of a batch.
inline QVariantMap putEntry(const QVariantMap& item)
{
    return {{"PutRequest", QVariantMap{{"Item", item}}}};
}
inline QVariantMap deleteEntry(const QString& hash, const QString& range)
{
    return {{"DeleteRequest", QVariantMap{{"Key", itemKey(hash, range)}}}};
}

using Bodies::condition;

/** A "LastEvaluatedKey". */
inline QVariantMap bareKey(const QString& hash, const QString& range)
{
    return {{"HashKeyElement", hash}, {"RangeKeyElement", range}};
}

/** A rejected "Key" or "ExclusiveStartKey", with the log line that gives the reason. */
struct MalformedKey {
    QVariant key;
    std::string line;
};

inline std::vector<MalformedKey> malformedKeys()
{
    const QVariantMap hash{{"HashKeyElement", textValue("h")}};
    return {
        {QVariantMap(), "hash key missing"},
        {QVariant(), "hash key missing"},
        {"h", "hash key missing"},
        {5, "hash key missing"},
        {QVariantList{hash}, "hash key missing"},
        {QVariantMap{{"RangeKeyElement", textValue("r")}}, "hash key missing"},
        {QVariantMap{{"HashKeyElement", "h"}, {"RangeKeyElement", textValue("r")}}, "wrong hash-key"},
        {QVariantMap{{"HashKeyElement", numberValue("5")}, {"RangeKeyElement", textValue("r")}}, "wrong hash-key"},
        {QVariantMap{{"HashKeyElement", QVariant()}}, "wrong hash-key"},
        {QVariantMap{{"HashKeyElement", QVariantMap{{"s", "h"}}}}, "wrong hash-key"},
        {hash, "range key missing"},
        {merged(hash, {{"rangekeyelement", textValue("r")}}), "range key missing"},
        {merged(hash, {{"RangeKeyElement", "r"}}), "wrong range-key"},
        {merged(hash, {{"RangeKeyElement", numberValue("5")}}), "wrong range-key"},
        {merged(hash, {{"RangeKeyElement", QVariantMap()}}), "wrong range-key"},
    };
}

/** A malformed condition on a key, with the log line that gives the reason. */
struct MalformedCondition {
    QVariantMap condition;
    std::string line;
};
inline std::vector<MalformedCondition> malformedConditions()
{
    QVariantMap number = condition("EQ", {"x"});
    number.insert("AttributeValueList", QVariantList{numberValue("5")});
    return {
        {{{"ComparisonOperator", "EQ"}}, "attr value list missing"},
        {condition("EQ", {}), "incomplete value list count 0"},
        {condition("EQ", {"a", "b"}), "incomplete value list count 2"},
        {condition("BETWEEN", {"a"}), "incomplete value list count 1"},
        {condition("BETWEEN", {"a", "b", "c"}), "incomplete value list count 3"},
        {condition("NULL", {}), "incomplete value list count 0"},
        {condition("NOT_NULL", {}), "incomplete value list count 0"},
        {number, "wrong key"},
    };
}

/** The "ExclusiveStartKey" that continues after a "LastEvaluatedKey". */
inline QVariantMap startBehind(const QVariant& lastEvaluatedKey)
{
    const QVariantMap key = lastEvaluatedKey.toMap();
    return itemKey(key.value("HashKeyElement").toString(), key.value("RangeKeyElement").toString());
}

/**
 * A server with the table `tableName()`. Its commits do not wait for the disk: durability is tested only where a test
 * says so.
 */
class ScanQueryTest : public TableTest {
protected:
    explicit ScanQueryTest(ServerProcess::Setup setup = {.arguments = {"-n"}}) : TableTest(std::move(setup)) {}

    void SetUp() override
    {
        TableTest::SetUp();
        createTable(tableName());
        (void)takeComplaints();
    }

    QVariantMap scan(const QVariantMap& fields = {})
    {
        return request("Scan", merged({{"TableName", tableName()}}, fields));
    }
    QVariantMap query(const QVariantMap& fields)
    {
        return request("Query", merged({{"TableName", tableName()}}, fields));
    }
    QVariantMap batch(const QVariantList& entries)
    {
        return request("BatchWriteItem", {{"RequestItems", QVariantMap{{tableName(), entries}}}});
    }

    /** Writes items, all in one batch. */
    void putItems(const QVariantList& items)
    {
        QVariantList entries;
        for (const QVariant& item : items)
            entries.append(putEntry(item.toMap()));
        EXPECT_EQ(batch(entries), okReply());
    }

    /** The names of the files of `table` in the environment's directory. */
    std::set<std::string> tableFiles(const std::string& table = "t") const
    {
        std::set<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(home())) {
            const std::string name = entry.path().filename();
            if (name == table || name.starts_with(table + "_"))
                names.insert(name);
        }
        return names;
    }
    /**
     * Makes a DeleteTable of `tableName()` wait forever: a batch whose second table is in another environment never
     * releases its hold on the first one. Returns the connection that waits for the reply, which never comes.
     */
    [[nodiscard]] Client::WireConnection keepDeleteWaiting()
    {
        const QString foreign = tableIn(home() + "~", "t"); // sorts after it
        EXPECT_EQ(request("BatchWriteItem",
                          {{"RequestItems", QVariantMap{{tableName(), QVariantList()}, {foreign, QVariantList()}}}}),
                  okReply({{"UnprocessedItems", QVariantMap{{foreign, QVariantList()}}}}));
        Client::WireConnection deleter = server_.connect();
        EXPECT_TRUE(deleter.send(Framing::frameRequest(Operations::fullName("DeleteTable"),
                                                       Json::serialize(QVariantMap{{"TableName", tableName()}}))));
        return deleter;
    }

    /**
     * True once the operation has been refused because of such a DeleteTable. Requests that run on the thread that
     * holds the environment still succeed, and a single client might get that thread every time: so this sends requests
     * from many clients at once.
     */
    [[nodiscard]] bool isRefused(const QByteArray& operation, const QVariantMap& body)
    {
        std::atomic<bool> refused = false;
        std::vector<std::thread> clients;
        for (int n = 0; n < 6; ++n) {
            clients.emplace_back([&] {
                Caller caller(server_);
                (void)waitUntil([&] { // ignored: `refused` has the result
                    const QVariantMap reply = caller.request(operation, body);
                    refused = refused || reply == notFoundReply();
                    return refused.load();
                });
            });
        }
        for (std::thread& client : clients)
            client.join();
        return refused;
    }

    /** The log lines of a failure whose status has no envelope of its own. */
    static std::vector<std::string> complaints(const std::string& line, int status = 2)
    {
        return {"[ERROR] bdbrequest # " + line, composeError(status)};
    }
};

/** The reply to a scan. */
inline QVariantMap scanReply(const QVariantList& items, int scanned, const QVariantMap& lastKey = {})
{
    QVariantMap reply{{"Count", items.size()}, {"ScannedCount", scanned}, {"Items", items}};
    if (!lastKey.isEmpty())
        reply.insert("LastEvaluatedKey", lastKey);
    return okReply(reply);
}
inline QVariantMap scanCounts(int count, int scanned)
{
    return okReply({{"Count", count}, {"ScannedCount", scanned}});
}

/** The reply to a query. */
inline QVariantMap queryReply(const QVariantList& items, const QVariantMap& lastKey = {})
{
    QVariantMap reply{{"Count", items.size()}, {"Items", items}};
    if (!lastKey.isEmpty())
        reply.insert("LastEvaluatedKey", lastKey);
    return okReply(reply);
}

#endif
