#include "request/requestsubject.h"

#include "request/bdbrequest.h"
#include "request/slowrequests.h"
#include "json/jsonreader.h"

#include <QVariantMap>

#include <optional>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype LongestBody = 1024 * 1024; // larger ones are not parsed again

/** A key in the form {"S": text}. */
QByteArray keyIn(const QVariantMap& map, const QString& name)
{
    return map.value(name).toMap().value(u"S"_s).toString().toLatin1();
}

QString elementKeys(const QVariantMap& key)
{
    return SlowRequests::keysText(keyIn(key, u"HashKeyElement"_s), keyIn(key, u"RangeKeyElement"_s));
}

QString itemKeys(const QVariantMap& item, const std::optional<KeySchema>& schema)
{
    if (!schema)
        return {};
    const auto key = [&](const QVariantMap& element) {
        return keyIn(item, element.value(u"AttributeName"_s).toString());
    };
    return SlowRequests::keysText(key(schema->hash), key(schema->range));
}

/** The keys of a request, or of an entry of a batch or a Commit. */
QString keysOf(const QVariantMap& request, const std::optional<KeySchema>& schema)
{
    for (const QString& name : {u"Key"_s, u"ExclusiveStartKey"_s}) {
        if (request.contains(name))
            return elementKeys(request.value(name).toMap());
    }
    if (request.contains(u"HashKeyValue"_s))
        return SlowRequests::keysText(keyIn(request, u"HashKeyValue"_s), {});
    return request.contains(u"Item"_s) ? itemKeys(request.value(u"Item"_s).toMap(), schema) : QString();
}

QVariantMap firstOf(const QVariant& list)
{
    return list.toList().value(0).toMap();
}

/** The first entry of a batch with its table. */
QVariantMap firstOfBatch(const QVariantMap& tables)
{
    if (tables.isEmpty())
        return {};
    const QVariantMap entry = firstOf(tables.first());
    QVariantMap write = entry.isEmpty() ? QVariantMap() : entry.first().toMap(); // a PutRequest or DeleteRequest
    write.insert(u"TableName"_s, tables.firstKey());
    return write;
}

} // namespace

RequestSubject Requests::subjectOf(const BDBRequest& request)
{
    QVariant tree;
    if (request.body.size() > LongestBody || !Json::parse(request.body, &tree))
        return {SlowRequests::tableText(request.tableName()), {}};
    QVariantMap body = tree.toMap();
    if (body.contains(u"RequestItems"_s))
        body = firstOfBatch(body.value(u"RequestItems"_s).toMap());
    else if (body.contains(u"Entries"_s))
        body = firstOf(body.value(u"Entries"_s));
    const QString name = body.contains(u"TableName"_s) ? u"TableName"_s : u"Directory"_s;
    return {SlowRequests::tableText(body.value(name).toString().toUtf8()), keysOf(body, request.table.keySchema())};
}
