#ifndef QUORVA_TESTS_FUZZ_REQUESTGENERATOR_H
#define QUORVA_TESTS_FUZZ_REQUESTGENERATOR_H

#include "choices.h"
#include "commitgenerator.h"
#include "environments.h"
#include "fuzztarget.h"

#include "support/tablefixture.h"
#include "json/jsonreader.h"
#include "json/jsonwriter.h"

#include <QByteArray>
#include <QString>
#include <QVariant>

#include <array>
#include <set>
#include <utility>

/** Makes requests out of choices, and sends them. */
class RequestGenerator : private CommitGenerator {
public:
    using CommitGenerator::CommitGenerator;
    using ItemGenerator::keys;

    void send()
    {
        static constexpr std::array operations{
            "PutItem",       "GetItem",        "UpdateItem",          "DeleteItem",
            "Query",         "Scan",           "BatchWriteItem",      "CreateTable",
            "DescribeTable", "UpdateTable",    "Quorva_1.ListTables", "Quorva_1.Commit",
            "UpdateItem",    "BatchWriteItem", "DeleteTable",         ""};
        const QByteArray name = choices_->of(operations);
        if (name.isEmpty()) {
            (void)environments().exchange(bytes(64), bytes(200)); // usually closes the connection
            return;
        }
        if (name == "DeleteTable" && !choices_->oneIn(4))
            return; // closing and opening takes long
        const QVariantMap body = bodyOf(name);
        const QVariantMap reply = environments().request(name.constData(), body);
        if (name == "PutItem" && reply.value("__rc") == 200)
            expectStored(body);
        if (name == "Quorva_1.Commit")
            expectCommitted(body, reply);
    }

private:
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
        // All in one directory, spelled in one way: otherwise its lock stays held, and a DeleteTable would wait
        // forever.
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
        // A directory that the input chooses would fill up with log files.
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
        if (name == "Quorva_1.Commit")
            return {{"Entries", mostly(entries())}};
        if (name == "Quorva_1.ListTables")
            return {{"Directory", mostly(choices_->oneIn(3) ? tableName() : environments().first())}};
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

    /** What was put comes back, without its keys, as the server reads and writes JSON. */
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
        // A key with a zero byte is valid; an earlier request may have set a schema with other key names.
        if (reply.value("__rc") == 200 && reply.contains("Item"))
            FUZZ_ASSERT(reply.value("Item").toMap() == stored);
    }
};

#endif
