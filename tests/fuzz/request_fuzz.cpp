/*
 * Whole requests, from the frame to the reply's bytes, against a real environment: the input chooses operations, and
 * what is in them, well-formed and not. Whatever is sent, the reply is JSON with an envelope; what was stored comes
 * back; an environment goes on.
 */
#include "budget.h"
#include "choices.h"
#include "fuzztarget.h"

#include "client/wireconnection.h"
#include "log/log.h"
#include "net/bdbreqhandler_linux.h"
#include "protocol/framing.h"
#include "protocol/operations.h"
#include "storage/settings.h"
#include "support/tablefixture.h"
#include "support/tempdir.h"
#include "json/jsonreader.h"
#include "json/jsonwriter.h"

#include <db_cxx.h>

#include <QByteArray>
#include <QString>
#include <QVariant>

#include <array>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>

namespace {

/** Two environments, closed and removed when the process ends in good order. */
class Environments {
public:
    Environments()
    {
        Log::setDestination(nullptr);
        Settings::setTxnCommitFlags(DB_TXN_NOSYNC);
        first_ = QString::fromStdString(directory_.makeDirectory("first"));
        second_ = QString::fromStdString(directory_.makeDirectory("second"));
        backup_ = QString::fromStdString(directory_.makeDirectory("backup"));
        // What a closing needs is made by the first one, and destroyed in the opposite order: after this object.
        reset({});
        close();
    }

    ~Environments() { close(); }
    Environments(const Environments&) = delete;
    Environments& operator=(const Environments&) = delete;

    const QString& first() const { return first_; }
    const QString& second() const { return second_; }
    const QString& backup() const { return backup_; }

    /** Sends a request as a client would, in pieces; nothing when the connection would be closed. */
    std::optional<QVariantMap> exchange(const QByteArray& operation, const QByteArray& body)
    {
        BDBReqHandler_linux handler(1024, 256, &registry_, -1);
        const QByteArray frame = Framing::frameRequest(operation, body);
        for (qsizetype at = 0; at < frame.size() && !handler.isReadComplete(); at += 4096) {
            const QByteArray piece = frame.sliced(at, std::min<qsizetype>(4096, frame.size() - at));
            if (handler.appendData(piece.constData(), static_cast<unsigned>(piece.size())) != 0)
                return std::nullopt;
        }
        FUZZ_ASSERT(handler.isReadComplete());
        if (handler.handle() != 0)
            return std::nullopt;
        const TransferBuffer& buffer = handler.sendBuffer();
        FUZZ_ASSERT(buffer.length >= 4 && Framing::readLength(buffer.data) == buffer.length - 4);
        QVariant reply;
        FUZZ_ASSERT(Json::parse(QByteArray(buffer.data + 4, static_cast<qsizetype>(buffer.length - 4)), &reply));
        return reply.toMap();
    }

    QVariantMap request(const char* operation, const QVariantMap& body)
    {
        const auto reply = exchange(Operations::fullName(operation), Json::serialize(body));
        FUZZ_ASSERT(reply);
        FUZZ_ASSERT(isReply(*reply));
        return *reply;
    }

    /** Every reply has an envelope, one of the few that there are. */
    static bool isReply(const QVariantMap& reply)
    {
        QVariantMap envelope;
        for (const char* name : {"__rc", "__rcstr", "__type", "message"}) {
            if (reply.contains(name))
                envelope.insert(name, reply.value(name));
        }
        return envelope == okReply() || envelope == conditionFailedReply() || envelope == notFoundReply() ||
               envelope == invalidRequestReply() || envelope == internalErrorReply();
    }

    /** Brings both tables to their beginning: described, and without the items of the last input. */
    void reset(const std::set<std::pair<QString, QString>>& written)
    {
        for (const QString& table : {first_ + "|t", first_ + "|u", second_ + "|t"}) {
            FUZZ_ASSERT(request("CreateTable", {{"TableName", table}, {"KeySchema", keySchema()}}).value("__rc") ==
                        200);
            for (const auto& [hash, range] : written)
                (void)request("DeleteItem", {{"TableName", table}, {"Key", itemKey(hash, range)}}); // also a wrong one
        }
    }

private:
    void close()
    {
        for (const QString& directory : {first_, second_})
            (void)request("DeleteTable", {{"TableName", directory + "|t"}}); // ignored: always a success
    }

    TempDir directory_;
    BDBObjTable registry_{8192};
    QString first_;
    QString second_;
    QString backup_;
};

Environments& environments()
{
    static Environments instance;
    return instance;
}

/** Makes requests out of choices. */
class Generator {
public:
    explicit Generator(Choices* choices) : choices_(choices) {}

    const std::set<std::pair<QString, QString>>& keys() const { return keys_; }

    void send()
    {
        static constexpr std::array operations{"PutItem",       "GetItem",        "UpdateItem",     "DeleteItem",
                                               "Query",         "Scan",           "BatchWriteItem", "CreateTable",
                                               "DescribeTable", "UpdateTable",    "PutItem",        "Query",
                                               "UpdateItem",    "BatchWriteItem", "DeleteTable",    ""};
        const QByteArray name = choices_->of(operations);
        if (name.isEmpty()) {
            (void)environments().exchange(bytes(64), bytes(200)); // mostly closes the connection
            return;
        }
        if (name == "DeleteTable" && !choices_->oneIn(4))
            return; // closing and opening takes long
        const QVariantMap body = bodyOf(name);
        const QVariantMap reply = environments().request(name.constData(), body);
        if (name == "PutItem" && reply.value("__rc") == 200)
            expectStored(body);
    }

private:
    QByteArray bytes(std::size_t longest)
    {
        const std::string_view piece = choices_->piece(longest);
        return {piece.data(), static_cast<qsizetype>(piece.size())};
    }

    QString text()
    {
        static constexpr std::array fixed{"",
                                          "a",
                                          "b",
                                          "h",
                                          "r",
                                          "S",
                                          "N",
                                          "0",
                                          "-1",
                                          "9223372036854775807",
                                          "1e3",
                                          "version",
                                          "tableschema",
                                          "größer",
                                          "\x01",
                                          "\"\\/\b\f\n\r\t"};
        switch (choices_->upTo(8)) {
        case 0:
            return QString::fromUtf8(bytes(40));
        case 1:
            return QString::fromLatin1(bytes(40));
        case 2: { // any code units, halves of pairs among them
            const QByteArray units = bytes(40);
            return QString(reinterpret_cast<const QChar*>(units.constData()), units.size() / 2);
        }
        case 3:
            return QString(static_cast<qsizetype>(choices_->upTo(3000)), QChar('x'));
        default:
            return QString::fromUtf8(choices_->of(fixed));
        }
    }

    QString keyText()
    {
        static constexpr std::array fixed{"", "a", "b", "ab", "abc", "0", "10", "\xc3\xbf"};
        return choices_->oneIn(8) ? text() : QString::fromUtf8(choices_->of(fixed));
    }

    /** Any JSON, of the kind that is not expected where it goes. */
    QVariant anything(int depth = 0)
    {
        switch (choices_->upTo(depth < 3 ? 9 : 6)) {
        case 0:
            return {};
        case 1:
            return choices_->oneIn(2);
        case 2:
            return static_cast<qlonglong>(choices_->upTo(65536)) - 100;
        case 3:
            return 0.5 * choices_->upTo(100);
        case 4:
            return text();
        case 5:
            return QVariantMap();
        case 6: {
            QVariantList list;
            for (unsigned n = choices_->upTo(4); n > 0; --n)
                list.append(anything(depth + 1));
            return list;
        }
        case 7:
            return value();
        default: {
            QVariantMap map;
            for (unsigned n = choices_->upTo(4); n > 0; --n)
                map.insert(text(), anything(depth + 1));
            return map;
        }
        }
    }

    /** One in many things is something else. */
    QVariant mostly(const QVariant& expected) { return choices_->oneIn(40) ? anything() : expected; }

    QVariant value()
    {
        static constexpr std::array lists{"SS", "NS", "BS"};
        switch (choices_->upTo(6)) {
        case 0:
            return QVariantMap{{"N", mostly(choices_->oneIn(4) ? text() : QString::number(choices_->upTo(1000)))}};
        case 1:
            return QVariantMap{{"B", text()}};
        case 2: {
            QVariantList list;
            for (unsigned n = choices_->upTo(4); n > 0; --n)
                list.append(mostly(text()));
            return QVariantMap{{choices_->of(lists), list}};
        }
        default:
            return QVariantMap{{"S", mostly(text())}};
        }
    }

    QString tableName()
    {
        switch (choices_->upTo(32)) {
        case 28:
            return environments().second() + "|t";
        case 29:
            return environments().first() + "/../first|t";
        case 30:
            return environments().first() + "/missing|t";
        case 31: // never a file outside the directory
            return environments().first() + '|' + text().replace('/', '_').replace('\\', '_').left(60);
        default:
            return environments().first() + (choices_->oneIn(3) ? "|u" : "|t");
        }
    }

    QVariant key()
    {
        const QString hash = keyText();
        const QString range = keyText();
        keys_.emplace(hash, range);
        QVariantMap result{{"HashKeyElement", mostly(textValue(hash))}, {"RangeKeyElement", mostly(textValue(range))}};
        if (choices_->oneIn(40))
            result.remove("RangeKeyElement");
        return mostly(result);
    }

    QVariantMap item()
    {
        QVariantMap result;
        for (unsigned n = choices_->upTo(5); n > 0; --n)
            result.insert(text(), mostly(value()));
        const QString hash = keyText();
        const QString range = keyText();
        keys_.emplace(hash, range);
        result.insert("h", mostly(textValue(hash)));
        if (!choices_->oneIn(40))
            result.insert("r", mostly(textValue(range)));
        return result;
    }

    QVariant expected()
    {
        QVariantMap conditions;
        for (unsigned n = choices_->upTo(3); n > 0; --n)
            conditions.insert(text(), mostly(choices_->oneIn(2) ? QVariantMap{{"Exists", choices_->oneIn(2)}}
                                                                : QVariantMap{{"Value", value()}}));
        return mostly(conditions);
    }

    QVariant updates()
    {
        static constexpr std::array actions{"PUT", "ADD", "DELETE", "put"};
        QVariantMap result;
        for (unsigned n = choices_->upTo(4); n > 0; --n) {
            QVariantMap update{{"Action", mostly(QString(choices_->of(actions)))}};
            if (!choices_->oneIn(8))
                update.insert("Value", mostly(value()));
            result.insert(text(), mostly(update));
        }
        return mostly(result);
    }

    QVariant condition()
    {
        static constexpr std::array operators{"EQ", "LE", "LT", "GE", "GT", "BEGINS_WITH", "BETWEEN", "NE"};
        QVariantList values;
        for (unsigned n = choices_->upTo(3); n > 0; --n)
            values.append(mostly(textValue(keyText())));
        return mostly(QVariantMap{{"ComparisonOperator", mostly(QString(choices_->of(operators)))},
                                  {"AttributeValueList", mostly(values)}});
    }

    QVariant names()
    {
        QVariantList list;
        for (unsigned n = choices_->upTo(4); n > 0; --n)
            list.append(mostly(text()));
        return mostly(list);
    }

    QVariant batch()
    {
        // Of one directory, spelled in one way: others leave it held for good, and a DeleteTable would wait for ever.
        QVariantMap tables;
        for (unsigned n = choices_->upTo(3); n > 0; --n) {
            QVariantList entries;
            for (unsigned m = choices_->upTo(5); m > 0; --m) {
                entries.append(mostly(choices_->oneIn(3)
                                          ? QVariantMap{{"DeleteRequest", mostly(QVariantMap{{"Key", key()}})}}
                                          : QVariantMap{{"PutRequest", mostly(QVariantMap{{"Item", item()}})}}));
            }
            tables.insert(environments().first() + (choices_->oneIn(2) ? "|u" : "|t"), mostly(entries));
        }
        return tables;
    }

    QVariant administration()
    {
        static constexpr std::array actions{"FlushDB", "UpdateDbBackup", "StopDbBackup", "ReadCapacityUnits"};
        if (choices_->oneIn(30))
            return QVariantMap{{"DbBackup", environments().backup()}};
        const QString action = choices_->of(actions);
        // A directory of the input's choice would fill up with log files.
        return QVariantMap{{action, action == "UpdateDbBackup" ? QVariant(environments().backup()) : anything()}};
    }

    void maybe(QVariantMap* body, const char* name, const QVariant& value)
    {
        if (choices_->oneIn(3))
            body->insert(name, mostly(value));
    }

    void addReturnValues(QVariantMap* body)
    {
        static constexpr std::array kinds{"NONE", "ALL_OLD", "ALL_NEW", "UPDATED_OLD", "UPDATED_NEW"};
        maybe(body, "ReturnValues", QString(choices_->of(kinds)));
    }

    void addPaging(QVariantMap* body)
    {
        maybe(body, "Limit", static_cast<qlonglong>(choices_->upTo(20)) - 1);
        maybe(body, "Count", choices_->oneIn(2));
        if (choices_->oneIn(3))
            body->insert("ExclusiveStartKey", key());
        if (choices_->oneIn(3))
            body->insert("AttributesToGet", names());
    }

    QVariantMap bodyOf(const QByteArray& name)
    {
        QVariantMap body;
        if (name == "BatchWriteItem")
            return {{"RequestItems", batch()}};
        if (!choices_->oneIn(60))
            body.insert("TableName", tableName());
        if (name == "PutItem") {
            body.insert("Item", mostly(item()));
            maybe(&body, "Expected", expected());
            addReturnValues(&body);
        } else if (name == "GetItem") {
            body.insert("Key", key());
            if (choices_->oneIn(3))
                body.insert("AttributesToGet", names());
        } else if (name == "UpdateItem" || name == "DeleteItem") {
            body.insert("Key", key());
            if (name == "UpdateItem")
                body.insert("AttributeUpdates", updates());
            maybe(&body, "Expected", expected());
            addReturnValues(&body);
        } else if (name == "Query") {
            maybe(&body, "ScanIndexForward", choices_->oneIn(2));
            if (!choices_->oneIn(20))
                body.insert("HashKeyValue", mostly(textValue(keyText())));
            if (choices_->oneIn(2))
                body.insert("RangeKeyCondition", condition());
            addPaging(&body);
        } else if (name == "Scan") {
            if (choices_->oneIn(3))
                body.insert("ScanFilter", mostly(QVariantMap{{choices_->oneIn(2) ? "h" : "r", condition()}}));
            addPaging(&body);
        } else if (name == "CreateTable") {
            QVariantMap schema = choices_->oneIn(4) ? anything().toMap() : keySchema();
            body.insert("KeySchema", mostly(schema));
            maybe(&body, "ProvisionedThroughput", anything());
        } else if (name == "UpdateTable") {
            body.insert("ProvisionedThroughput", mostly(administration()));
        }
        return body;
    }

    /** What was put comes back: without its keys, as the server reads and writes JSON. */
    static void expectStored(const QVariantMap& body)
    {
        QVariant sent;
        FUZZ_ASSERT(Json::parse(Json::serialize(body), &sent));
        QVariantMap stored = sent.toMap().value("Item").toMap();
        const auto keyOf = [&](const char* name) { return stored.take(name).toMap().value("S").toString(); };
        const QString hash = keyOf("h");
        const QString range = keyOf("r");
        const QVariantMap reply =
            environments().request("GetItem", {{"TableName", body.value("TableName")}, {"Key", itemKey(hash, range)}});
        // A key with a zero byte is a key; a schema that names other keys has been chosen by an earlier request.
        if (reply.value("__rc") == 200 && reply.contains("Item"))
            FUZZ_ASSERT(reply.value("Item").toMap() == stored);
    }

    Choices* choices_;
    std::set<std::pair<QString, QString>> keys_;
};

void check(const std::uint8_t* data, std::size_t size)
{
    static std::set<std::pair<QString, QString>> written;
    environments().reset(written);
    Choices choices(data, size);
    Generator generator(&choices);
    for (int requests = 0; requests < 20 && !choices.isEmpty(); ++requests)
        generator.send();
    written = generator.keys();
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    onceWithinBudgetOfFiles([&] { check(data, size); });
    return 0;
}
