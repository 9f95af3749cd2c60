#include "request/commitplan.h"

#include "protocol/limits.h"
#include "records/itemkeys.h"
#include "records/lists.h"
#include "records/requeststatus.h"
#include "records/schema.h"
#include "records/tablecontext.h"
#include "request/requestkeys.h"
#include "storage/environmentpath.h"
#include "json/jsonwriter.h"

#include <QVariantMap>

#include <map>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

using Refusal = std::optional<CommitRefusal>;

Refusal invalid(const QString& message)
{
    return CommitRefusal{StatusInvalidRequest, message};
}

Refusal invalid(std::size_t entry, const QString& reason)
{
    return invalid(u"Entry %1: %2"_s.arg(entry).arg(reason));
}

bool isObject(const QVariant& value)
{
    return value.typeId() == QMetaType::QVariantMap;
}

bool isTrue(const QVariant& value)
{
    return value.typeId() == QMetaType::Bool && value.toBool();
}

/** False unless the entry has exactly one action. */
bool readAction(const QVariantMap& body, CommitEntry* entry)
{
    const bool puts = body.contains(u"Put"_s);
    const bool deletes = body.contains(u"Delete"_s);
    const bool checks = body.contains(u"Check"_s);
    if (puts + deletes + checks != 1 || (deletes && !isTrue(body.value(u"Delete"_s))) ||
        (checks && !isTrue(body.value(u"Check"_s))))
        return false;
    entry->action = puts ? CommitAction::Put : deletes ? CommitAction::Delete : CommitAction::Check;
    entry->put = body.value(u"Put"_s);
    return true;
}

/** False for an "Expected" in another form. */
bool readExpected(const QVariantMap& body, CommitEntry* entry)
{
    const auto found = body.constFind(u"Expected"_s);
    if (found == body.constEnd())
        return true;
    const QVariantMap expected = found->toMap();
    const QVariant item = expected.value(u"Item"_s);
    const QVariant exists = expected.value(u"Exists"_s);
    if (isObject(item) && !exists.isValid() && !expected.contains(u"Exists"_s)) {
        entry->expectation = CommitExpectation::Item;
        entry->expected = Json::serialize(item);
        return true;
    }
    entry->expectation = CommitExpectation::NoItem;
    return exists.typeId() == QMetaType::Bool && !exists.toBool() && !expected.contains(u"Item"_s);
}

Refusal readEntry(const QVariantMap& body, std::size_t number, CommitEntry* entry)
{
    entry->tableName = body.value(u"TableName"_s).toString().toUtf8();
    if (entry->tableName.isEmpty())
        return invalid(number, u"\"TableName\" is missing."_s);
    if (!readAction(body, entry))
        return invalid(number, u"one of \"Put\": {...}, \"Delete\": true and \"Check\": true is required."_s);
    if (!readExpected(body, entry))
        return invalid(number, u"\"Expected\" must be {\"Item\": {...}} or {\"Exists\": false}."_s);
    if (entry->action == CommitAction::Check && entry->expectation == CommitExpectation::Anything)
        return invalid(number, u"\"Check\" requires \"Expected\"."_s);
    if (Requests::readElementKeys(body.value(u"Key"_s).toMap(), &entry->place.hashKey, &entry->place.rangeKey) != 0)
        return invalid(number, u"\"Key\" must have \"HashKeyElement\" and \"RangeKeyElement\", each {\"S\": ...} with "
                               "characters of Latin-1."_s);
    return {};
}

/** Reads the item to be put. It may be read for years to come, so it is checked more strictly than a PutItem's. */
Refusal readPut(const KeySchema& schema, std::size_t number, CommitEntry* entry)
{
    const QVariant item = std::exchange(entry->put, {});
    if (!Records::storeWithoutKeys(schema, item, &entry->stored))
        return invalid(number, u"\"Put\" must be an object without the table's key attributes."_s);
    if (const auto attribute = Records::findUntyped(item))
        return invalid(number, u"the value of attribute \"%1\" must be an object with its type, such as {\"S\": "
                               "\"...\"}."_s.arg(*attribute));
    if (entry->stored.size() > Limits::ItemBytes)
        return invalid(
            number, u"the item has %1 bytes of JSON, and more than %2 cannot be read back."_s.arg(entry->stored.size())
                        .arg(Limits::ItemBytes));
    return {};
}

} // namespace

std::optional<CommitRefusal> Requests::readCommit(const RequestBody& body, std::vector<CommitEntry>* entries)
{
    const QVariantList list = Records::listOf(body.value("Entries"_L1));
    if (list.isEmpty())
        return invalid(u"\"Entries\" is missing or empty."_s);
    entries->resize(static_cast<std::size_t>(list.size()));
    for (std::size_t i = 0; i < entries->size(); ++i) {
        CommitEntry& entry = (*entries)[i];
        if (auto refusal = readEntry(list.at(static_cast<qsizetype>(i)).toMap(), i, &entry))
            return refusal;
        if (EnvironmentPath::ofTable(entry.tableName) != EnvironmentPath::ofTable(entries->front().tableName))
            return invalid(i, u"its directory is not that of entry 0. All tables must be in one, spelled alike."_s);
    }
    return {};
}

std::optional<CommitRefusal> Requests::openCommit(TableContext& table, std::vector<CommitEntry>* entries)
{
    const auto failed = [](int status) { return CommitRefusal{status, {}}; };
    if (const int rc = table.openTable(entries->front().tableName))
        return failed(rc);
    QByteArray loaded; // the table whose schema is loaded
    std::map<std::pair<BDBIndex*, QByteArray>, std::size_t> seen;
    for (std::size_t i = 0; i < entries->size(); ++i) {
        CommitEntry& entry = (*entries)[i];
        if (entry.tableName != loaded) {
            QVariantMap description;
            if (const int rc = Records::loadSchema(table, entry.tableName, &description, false))
                return failed(rc);
            loaded = entry.tableName;
        }
        if (entry.action == CommitAction::Put) {
            if (auto refusal = readPut(table.keySchema().value(), i, &entry))
                return refusal;
        }
        if (const int rc = Records::openPlace(table, entry.tableName, &entry.place))
            return failed(rc);
        const auto [other, isNew] = seen.try_emplace({entry.place.db, entry.place.key}, i);
        if (!isNew)
            return invalid(i, u"it names the same item as entry %1."_s.arg(other->second));
    }
    return {};
}
