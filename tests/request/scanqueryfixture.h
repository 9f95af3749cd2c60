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

/** The partition of a hash key, computed without the server's help. */
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

/** An item as a client writes it, and as Scan and Query answer it. */
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

/** A "Key" or "ExclusiveStartKey" that is refused, with the text of the line that says why. */
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

/** The "ExclusiveStartKey" that goes on behind a "LastEvaluatedKey". */
inline QVariantMap startBehind(const QVariant& lastEvaluatedKey)
{
    const QVariantMap key = lastEvaluatedKey.toMap();
    return itemKey(key.value("HashKeyElement").toString(), key.value("RangeKeyElement").toString());
}

/**
 * A server with the table `tableName()`. It does not wait for the disk at a commit: what is tested here is no matter of
 * durability unless a test says so.
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
    static std::string dataFile(int partition, const std::string& table = "t")
    {
        char name[16];
        std::snprintf(name, sizeof name, "_%02x.db", static_cast<unsigned>(partition));
        return table + name;
    }

    /**
     * Makes a DeleteTable of `tableName()` wait for good: a batch whose second table lies in another environment keeps
     * the first one held. The connection that is returned waits for the reply, which never comes.
     */
    [[nodiscard]] Client::WireConnection keepDeleteWaiting()
    {
        const QString foreign = tableIn(home() + "~", "t"); // behind it in the order of names
        EXPECT_EQ(request("BatchWriteItem",
                          {{"RequestItems", QVariantMap{{tableName(), QVariantList()}, {foreign, QVariantList()}}}}),
                  okReply({{"UnprocessedItems", QVariantMap{{foreign, QVariantList()}}}}));
        Client::WireConnection deleter = server_.connect();
        EXPECT_TRUE(deleter.send(Framing::frameRequest(Operations::fullName("DeleteTable"),
                                                       Json::serialize(QVariantMap{{"TableName", tableName()}}))));
        return deleter;
    }

    /**
     * True once the operation was refused because of such a DeleteTable. Whatever runs on the very thread that holds
     * the environment goes on as ever, and a single client may meet that thread again and again: so this asks with many
     * at once.
     */
    [[nodiscard]] bool isRefused(const QByteArray& operation, const QVariantMap& body)
    {
        std::atomic<bool> refused = false;
        std::vector<std::thread> clients;
        for (int n = 0; n < 6; ++n) {
            clients.emplace_back([&] {
                Caller caller(server_);
                (void)waitUntil([&] { // ignored: `refused` tells
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

    /** The lines of a failure that has no row of its own in the envelope. */
    static std::vector<std::string> complaints(const std::string& line, int status = 2)
    {
        return {"[ERROR] bdbrequest # " + line, composeError(status)};
    }
};

/** What a scan answers. */
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

/** What a query answers. */
inline QVariantMap queryReply(const QVariantList& items, const QVariantMap& lastKey = {})
{
    QVariantMap reply{{"Count", items.size()}, {"Items", items}};
    if (!lastKey.isEmpty())
        reply.insert("LastEvaluatedKey", lastKey);
    return okReply(reply);
}

#endif
