#include "request/itemops.h"

#include "log/log.h"
#include "protocol/bodies.h"
#include "records/itemformatter.h"
#include "records/itemplace.h"
#include "records/lists.h"
#include "records/recordops.h"
#include "records/requeststatus.h"
#include "records/schema.h"
#include "request/bdbrequest.h"
#include "request/requestkeys.h"
#include "storage/deadlockretry.h"
#include "json/jsontext.h"

#include <optional>

using namespace Qt::StringLiterals;

namespace {

/** The common first step of the operations that name an item by "Key"; `place` is found by openPlace or findPlace. */
int openItem(BDBRequest& request, ItemPlace* place, decltype(Records::openPlace) find)
{
    const QByteArray tableName = request.tableName();
    if (const int rc = request.table.openTable(tableName))
        return rc;
    if (const int rc = Requests::readElementKeys(request.parsedBody, "Key"_L1, &place->hashKey, &place->rangeKey))
        return rc;
    request.noteKeys(place->hashKey, place->rangeKey);
    return find(request.table, tableName, place);
}

template <typename Attempt> int retryItem(const char* operation, const ItemPlace& place, Attempt&& attempt)
{
    return Deadlocks::retry(attempt, [&](int backoff) {
        LOG_WARN << operation << " Got deadlock : retry " << backoff << " hkey " << place.hashKey << " rkey "
                 << place.rangeKey;
    });
}

/** A member of the request's body as a map; unset if the body has no such member. */
std::optional<QVariantMap> optionalMap(const BDBRequest& request, QLatin1StringView name)
{
    if (!request.parsedBody.contains(name))
        return std::nullopt;
    return request.parsedBody.value(name).toMap();
}

template <typename T> T* pointerTo(std::optional<T>& value)
{
    return value ? &*value : nullptr;
}

bool wantsOldItem(const BDBRequest& request)
{
    return request.parsedBody.value("ReturnValues"_L1).toString() == Bodies::ReturnAllOld;
}

/**
 * False if reading the names of the keys would take long. Checked before the item is updated: after that, the request
 * cannot be run again.
 */
bool canAddBareKeys(BDBRequest& request)
{
    BDBIndex* db = nullptr;
    return !request.table.onlyFinds() || request.table.findMeta(request.tableName(), &db) == StatusSuccess;
}

/**
 * Kept: the two key attributes are returned as bare strings, although all others are typed values. Clients rely on it.
 */
void addBareKeys(BDBRequest& request, const ItemPlace& place, QVariantMap* attributes)
{
    QVariantMap description;
    QString hashName;
    QString rangeName;
    (void)Records::loadSchema(request.table, request.tableName(), &description,
                              true);                                    // ignored: on failure the names stay empty
    (void)Requests::schemaKeyNames(description, &hashName, &rangeName); // likewise ignored
    attributes->insert(hashName, QString::fromLatin1(place.hashKey));
    attributes->insert(rangeName, QString::fromLatin1(place.rangeKey));
}

} // namespace

int Requests::putItem(BDBRequest& request)
{
    const bool returnOld = wantsOldItem(request);
    const QByteArray tableName = request.tableName();
    TableContext& table = request.table;
    if (const int rc = table.openTable(tableName))
        return rc;
    ItemPlace place;
    Json::RawText stored;
    if (const int rc = Records::takePlace(table, tableName, request.parsedBody.take("Item"_L1), &place, &stored.text))
        return rc;
    request.noteKeys(place.hashKey, place.rangeKey);

    std::optional<QVariantMap> expected = optionalMap(request, "Expected"_L1);
    QVariantMap oldItem;
    const int rc = retryItem("putItem", place, [&] {
        oldItem.clear();
        return Records::putDb(table.transactions(), place.db, place.key, stored.text, pointerTo(expected),
                              returnOld ? &oldItem : nullptr);
    });
    request.noteItems(rc == 0 ? 1 : 0);
    // Kept: "Attributes" is always present, with the new item unless the old one was requested.
    if (rc == 0)
        request.reply.insert(u"Attributes"_s, returnOld ? QVariant(oldItem) : QVariant::fromValue(stored));
    return rc;
}

int Requests::getItem(BDBRequest& request)
{
    ItemPlace place;
    if (const int rc = openItem(request, &place, Records::findPlace))
        return rc;
    ItemFormatter format;
    if (request.parsedBody.contains("AttributesToGet"_L1))
        format.keepOnly(Records::listOf(request.parsedBody.value("AttributesToGet"_L1)));
    Json::RawText item;
    const int rc = retryItem("getItem", place, [&] {
        return Records::getDb(request.table.transactions(), place.db, place.key, &format, &item.text);
    });
    request.noteItems(rc == 0 ? 1 : 0);
    if (rc == DB_NOTFOUND)
        return StatusSuccess; // Kept: a missing item is not an error, the reply just lacks "Item"
    if (rc == 0)
        request.reply.insert(u"Item"_s, QVariant::fromValue(item));
    return rc;
}

int Requests::deleteItem(BDBRequest& request)
{
    ItemPlace place;
    if (const int rc = openItem(request, &place, Records::findPlace))
        return rc;
    std::optional<QVariantMap> expected = optionalMap(request, "Expected"_L1);
    const bool returnOld = wantsOldItem(request);

    QVariantMap oldItem;
    const int rc = retryItem("deleteItem", place, [&] {
        oldItem.clear();
        return Records::deleteDb(request.table.transactions(), place.db, place.key, pointerTo(expected),
                                 returnOld ? &oldItem : nullptr);
    });
    request.noteItems(rc == 0 ? 1 : 0);
    request.failedReply.insert(u"Attributes"_s, QVariantMap()); // Kept: also on failure
    if (rc != 0)
        request.reply = request.failedReply;
    else if (returnOld)
        request.reply.insert(u"Attributes"_s, oldItem);
    return rc;
}

int Requests::updateItem(BDBRequest& request)
{
    ItemPlace place;
    if (const int rc = openItem(request, &place, Records::openPlace))
        return rc;
    const QVariantMap updates = request.parsedBody.value("AttributeUpdates"_L1).toMap();
    std::optional<QVariantMap> expected = optionalMap(request, "Expected"_L1);
    std::optional<QByteArray> returnValues;
    if (request.parsedBody.contains("ReturnValues"_L1))
        returnValues = request.parsedBody.value("ReturnValues"_L1).toString().toUtf8();

    const bool returnsItem = returnValues == Bodies::ReturnAllNew || returnValues == Bodies::ReturnAllOld;
    if (returnsItem && !canAddBareKeys(request))
        return StatusTakesLong;

    QVariantMap attributes;
    const int rc = retryItem("updateItem", place, [&] {
        return Records::updateDb(request.table.transactions(), place.db, place.key, updates, pointerTo(expected),
                                 pointerTo(returnValues), &attributes);
    });
    request.noteItems(rc == 0 ? 1 : 0);
    if (!returnValues || attributes.isEmpty())
        return rc;
    if (returnsItem)
        addBareKeys(request, place, &attributes);
    request.reply.insert(u"Attributes"_s, attributes);
    return rc;
}
