#include "records/schema.h"

#include "log/log.h"
#include "records/encoding.h"
#include "records/itemformatter.h"
#include "records/recordops.h"
#include "records/requeststatus.h"
#include "storage/bdbindex.h"
#include "storage/deadlockretry.h"
#include "json/jsonreader.h"

#include <memory>
#include <optional>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr const char* SchemaHashKey = "tableschema"; // on disk, do not change

/** A usable description as cached with the handle of its "meta" database. */
struct TableDescription {
    QVariantMap members;
    KeySchema keys;
};

/**
 * The description that an earlier request has read from `meta`, unless it may have changed since. Null if it must be
 * read. A request that uses it has seen the committed record, like one that reads it.
 */
std::shared_ptr<const TableDescription> keptDescription(BDBIndex* meta, std::optional<ChangeCount::Stamp> stamp)
{
    return stamp ? std::static_pointer_cast<const TableDescription>(meta->derived().get(*stamp)) : nullptr;
}

/** Copies a key element of the key schema; 0 when it names an attribute of type "S", else 2. */
int takeElement(const QVariantMap& keySchema, const char* name, QVariantMap* element)
{
    const auto found = keySchema.constFind(QLatin1String(name));
    if (found == keySchema.constEnd())
        return StatusInternalError;
    *element = found->toMap();
    const bool usable = element->contains(u"AttributeName"_s) && element->contains(u"AttributeType"_s) &&
                        element->value(u"AttributeType"_s).toString() == "S";
    return usable ? StatusSuccess : StatusInternalError;
}

} // namespace

QByteArray Records::schemaRecordKey()
{
    return recordKey(SchemaHashKey, QByteArray());
}

QVariantMap Records::parseDescription(const QByteArray& text)
{
    QVariant value;
    return Json::parse(text, &value) ? value.toMap() : QVariantMap();
}

int Records::readDescription(TableContext& table, BDBIndex* meta, QVariantMap* description)
{
    ItemFormatter format;
    QByteArray text;
    const int rc =
        Deadlocks::retry([&] { return getDb(table.transactions(), meta, schemaRecordKey(), &format, &text); },
                         [](int) { LOG_WARN << "loadSchema Got deadlock"; });
    if (rc == 0)
        *description = parseDescription(text);
    return rc;
}

int Records::loadSchema(TableContext& table, const QByteArray& tableName, QVariantMap* description, bool rawOnly)
{
    if (table.keySchema() && description == nullptr)
        return StatusSuccess;
    BDBIndex* db = nullptr;
    if (const int rc = table.findMeta(tableName, &db))
        return rc;

    const ChangeCount* changes = db != nullptr ? db->changes() : nullptr;
    const auto stamp = changes != nullptr ? changes->stamp() : std::nullopt; // before the description is examined
    if (const auto kept = keptDescription(db, stamp)) {
        if (UnflushedCommits* unflushed = table.transactions().unflushed())
            unflushed->noteRead(db->state()); // like a request that has read the record
        if (description != nullptr)
            *description = kept->members;
        if (!rawOnly)
            table.setKeySchema(kept->keys);
        return StatusSuccess;
    }

    TableDescription read;
    if (int rc = db != nullptr ? readDescription(table, db, &read.members) : DB_NOTFOUND) {
        if (rc == DB_NOTFOUND)
            rc = StatusNotFound;
        LOG_ERROR(LogOrigin::Request, __LINE__) << "schema load failed rc " << rc;
        return rc;
    }
    table.noteCreated(tableName);
    const QVariantMap keySchema = read.members.value(u"KeySchema"_s).toMap();
    const int rc1 = takeElement(keySchema, "HashKeyElement", &read.keys.hash);
    const int rc2 = takeElement(keySchema, "RangeKeyElement", &read.keys.range);
    const bool isUsable = rc1 == 0 && rc2 == 0;
    if (description != nullptr)
        *description = read.members;
    if (isUsable && !rawOnly)
        table.setKeySchema(read.keys);
    if (isUsable && stamp)
        db->derived().keep(*stamp, std::make_shared<const TableDescription>(std::move(read)));
    if (isUsable || rawOnly)
        return StatusSuccess;
    // Kept: the spelling, which operators search for.
    LOG_ERROR(LogOrigin::Request, __LINE__) << "wrond key rc1 " << rc1 << " rc2 " << rc2;
    return StatusNotFound;
}
