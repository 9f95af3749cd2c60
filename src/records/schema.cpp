#include "records/schema.h"

#include "log/log.h"
#include "records/encoding.h"
#include "records/itemformatter.h"
#include "records/recordops.h"
#include "records/requeststatus.h"
#include "storage/deadlockretry.h"
#include "json/jsonreader.h"

#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr const char* LogOrigin = "bdbrequest";
constexpr const char* SchemaHashKey = "tableschema"; // on disk, do not change

/**
 * Parses the JSON of a table description. Most requests of a thread name the same table as the previous one, so the
 * last result is cached per thread.
 */
QVariantMap parseDescription(const QByteArray& text)
{
    struct Parsed {
        QByteArray text;
        QVariantMap description;
    };
    static thread_local Parsed last;
    if (text != last.text) {
        QVariant value;
        (void)Json::parse(text, &value); // cannot fail: it was validated when it was read
        last = {text, value.toMap()};
    }
    return last.description;
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

int Records::loadSchema(TableContext& table, const QByteArray& tableName, QVariantMap* description, bool rawOnly)
{
    if (table.keySchema() && description == nullptr)
        return StatusSuccess;
    if (const int rc = table.envLookup(tableName, 1))
        return rc;
    BDBIndex* db = nullptr;
    if (const int rc = table.dbOpen(tableName, TableNames::MetaSubDatabase, &db))
        return rc;

    ItemFormatter format;
    QByteArray text;
    int rc = Deadlocks::retry([&] { return getDb(table.env(), db, schemaRecordKey(), &format, &text); },
                              [](int) { LOG_WARN << "loadSchema Got deadlock"; });
    if (rc != 0) {
        if (rc == DB_NOTFOUND)
            rc = StatusNotFound;
        LOG_ERROR(LogOrigin, __LINE__) << "schema load failed rc " << rc;
        return rc;
    }
    *description = parseDescription(text);
    if (rawOnly)
        return StatusSuccess;

    const QVariantMap keySchema = description->value(u"KeySchema"_s).toMap();
    KeySchema keys;
    const int rc1 = takeElement(keySchema, "HashKeyElement", &keys.hash);
    const int rc2 = takeElement(keySchema, "RangeKeyElement", &keys.range);
    if (rc1 != 0 || rc2 != 0) {
        // Kept: the spelling, which operators search for.
        LOG_ERROR(LogOrigin, __LINE__) << "wrond key rc1 " << rc1 << " rc2 " << rc2;
        return StatusNotFound;
    }
    table.setKeySchema(std::move(keys));
    return StatusSuccess;
}
