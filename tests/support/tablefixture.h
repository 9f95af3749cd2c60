#ifndef QUORVA_TESTS_SUPPORT_TABLEFIXTURE_H
#define QUORVA_TESTS_SUPPORT_TABLEFIXTURE_H

#include "protocol/operations.h"
#include "support/expectedreplies.h"
#include "support/serverprocess.h"
#include "support/waituntil.h"
#include "json/jsonreader.h"
#include "json/jsonwriter.h"

#include <QByteArray>
#include <QString>
#include <QVariantMap>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

inline void PrintTo(const QByteArray& bytes, std::ostream* out)
{
    *out << '"' << bytes.toPercentEncoding(" |/{}\":,[]").toStdString() << '"';
}

// Typed values.
inline QVariantMap textValue(const QString& text)
{
    return {{"S", text}};
}
inline QVariantMap numberValue(const QString& number)
{
    return {{"N", number}};
}

/** The "Key" of an item. */
inline QVariantMap itemKey(const QString& hash, const QString& range)
{
    return {{"HashKeyElement", textValue(hash)}, {"RangeKeyElement", textValue(range)}};
}

/** A request of each operation on the items of a table, on the item "k", "1" where it names one; without "TableName".
 */
inline std::vector<std::pair<QByteArray, QVariantMap>> itemRequests()
{
    const QVariantMap key{{"Key", itemKey("k", "1")}};
    return {{"PutItem", {{"Item", QVariantMap{{"h", textValue("k")}, {"r", textValue("1")}}}}},
            {"GetItem", key},
            {"DeleteItem", key},
            {"UpdateItem", key},
            {"Scan", {}},
            {"Query", {{"HashKeyValue", textValue("k")}}}};
}

/** An element of a key schema, and a complete one whose elements are both of type "S". */
inline QVariantMap schemaElement(const QString& name, const QString& type = "S")
{
    return {{"AttributeName", name}, {"AttributeType", type}};
}
inline QVariantMap keySchema(const QString& hashName = "h", const QString& rangeName = "r")
{
    return {{"HashKeyElement", schemaElement(hashName)}, {"RangeKeyElement", schemaElement(rangeName)}};
}

inline QVariantMap throughput()
{
    return {{"ReadCapacityUnits", 5LL}, {"WriteCapacityUnits", 10LL}};
}

/** The line that a status without its own envelope logs, after the line with the cause. */
inline std::string composeError(int status)
{
    return "[ERROR] bdbioworker 628 composeReply Error " + std::to_string(status);
}

/** A complete line without its time, and with "#" for the source line number, which changes with the source. */
inline std::string normalizedLogLine(const std::string& line)
{
    constexpr std::size_t TimeLength = 27; // "[Mon Jan 07 09:05:03 2019] "
    std::string text = line.size() > TimeLength ? line.substr(TimeLength) : line;
    for (const std::string start :
         {"[ERROR] bdbrequest ", "[ERROR] bdb ", "[CRIT] bdbrequest ", "[CRIT] bdb ", "[WARN] bdbrequest "}) {
        if (!text.starts_with(start))
            continue;
        const std::size_t end = text.find_first_not_of("0123456789", start.size());
        const bool fixed = text.find("120 Unknown request opcode", start.size()) == start.size();
        if (end != std::string::npos && !fixed)
            text.replace(start.size(), end - start.size(), "#");
    }
    return text;
}

/** A thread's own connection. */
class Caller {
public:
    explicit Caller(const ServerProcess& server) : connection_(server.connect()) {}

    /** The reply; an empty map if there was none, which closes the connection. */
    QVariantMap request(const QByteArray& operation, const QVariantMap& body)
    {
        return requestText(operation, Json::serialize(body));
    }

    QVariantMap requestText(const QByteArray& operation, const QByteArray& body)
    {
        QByteArray text;
        QVariant reply;
        if (!connection_.isOpen() || !connection_.exchange(Operations::fullName(operation), body, &text) ||
            !Json::parse(text, &reply))
            return {};
        return reply.toMap();
    }

    Client::WireConnection& connection() { return connection_; }

private:
    Client::WireConnection connection_;
};

/** A running server with an environment directory, in which `tableName("t")` and others can be created. */
class TableTest : public testing::Test {
protected:
    explicit TableTest(ServerProcess::Setup setup = {}) : server_(std::move(setup)), home_(makeDirectory("env")) {}

    void SetUp() override { ASSERT_TRUE(server_.start()); }

    /** Creates a directory next to the log and returns its path. */
    std::string makeDirectory(const std::string& name) const { return server_.makeDirectory(name); }

    const std::string& home() const { return home_; }
    QString tableName(const QString& table = "t") const { return tableIn(home_, table); }
    static QString tableIn(const std::string& directory, const QString& table = "t")
    {
        return QString::fromStdString(directory) + '|' + table;
    }

    QVariantMap request(const QByteArray& operation, const QVariantMap& body)
    {
        return server_.request(operation, body);
    }

    void createTable(const QString& name, const QVariantMap& schema = keySchema())
    {
        const QVariantMap reply = request(
            "CreateTable", {{"TableName", name}, {"KeySchema", schema}, {"ProvisionedThroughput", throughput()}});
        EXPECT_EQ(reply.value("__rc"), QVariant(200LL)) << testing::PrintToString(reply);
    }

    /** Operations on an item of `tableName()`; `more` are additional fields of the request. */
    QVariantMap put(const QString& hash, const QString& range, const QVariantMap& attributes,
                    const QVariantMap& more = {})
    {
        const QVariantMap item = merged(attributes, {{"h", textValue(hash)}, {"r", textValue(range)}});
        return request("PutItem", merged({{"TableName", tableName()}, {"Item", item}}, more));
    }
    QVariantMap get(const QString& hash, const QString& range, const QVariantMap& more = {})
    {
        return request("GetItem", merged({{"TableName", tableName()}, {"Key", itemKey(hash, range)}}, more));
    }
    QVariantMap remove(const QString& hash, const QString& range, const QVariantMap& more = {})
    {
        return request("DeleteItem", merged({{"TableName", tableName()}, {"Key", itemKey(hash, range)}}, more));
    }
    QVariantMap update(const QString& hash, const QString& range, const QVariantMap& updates,
                       const QVariantMap& more = {})
    {
        return request(
            "UpdateItem",
            merged({{"TableName", tableName()}, {"Key", itemKey(hash, range)}, {"AttributeUpdates", updates}}, more));
    }
    QVariantMap describe(const QString& name) { return request("DescribeTable", {{"TableName", name}}); }

    /** The lines at WARN and above since the last call. */
    std::vector<std::string> takeComplaints()
    {
        return takeLines([](const std::string& line) {
            return line.starts_with("[WARN]") || line.starts_with("[ERROR]") || line.starts_with("[CRIT]");
        });
    }
    template <typename Filter> std::vector<std::string> takeLines(Filter wanted)
    {
        const std::vector<std::string> lines = server_.logLines();
        std::vector<std::string> taken;
        for (; linesTaken_ < lines.size(); ++linesTaken_) {
            std::string line = normalizedLogLine(lines[linesTaken_]);
            if (wanted(line))
                taken.push_back(std::move(line));
        }
        return taken;
    }

    /** Kills the server, as a crash would. */
    void killServer()
    {
        server_.kill(SIGKILL);
        EXPECT_EQ(server_.waitForExit(), -SIGKILL);
    }

    void restartServer()
    {
        killServer();
        linesTaken_ = 0;
        ASSERT_TRUE(server_.start());
    }

    ServerProcess server_;

private:
    std::string home_;
    std::size_t linesTaken_ = 0;
};

#endif
