#include "load/checker.h"

#include "load/requests.h"

#include "protocol/envelope.h"
#include "json/jsonreader.h"
#include "json/jsonwriter.h"

namespace Bench {

namespace {

QVariantMap keyValue(const QByteArray& key)
{
    return {{"S", QString::fromLatin1(key)}};
}

/** An item as walks return it. */
QVariantMap walkedItem(const Workload& workload, unsigned number)
{
    QVariantMap item = workload.item();
    item.insert(HashAttribute, keyValue(hashKey(number)));
    item.insert(RangeAttribute, keyValue(rangeKey(number)));
    return item;
}

/** The number of an item that a walk returned. */
unsigned numberOf(const QVariantMap& item)
{
    const QString hash = item.value(HashAttribute).toMap().value("S").toString();
    const QString range = item.value(RangeAttribute).toMap().value("S").toString();
    return hash.mid(1).toUInt() * ItemsPerHashKey + range.mid(1).toUInt();
}

} // namespace

bool exchangeWell(Client::WireConnection& connection, const QByteArray& request, QVariantMap* reply, QString* error)
{
    QByteArray text;
    if (!connection.send(request) || !connection.receiveReply(&text)) {
        *error = connection.error();
        return false;
    }
    QVariant parsed;
    if (!Json::parse(text, &parsed)) {
        *error = QStringLiteral("a reply is not JSON");
        return false;
    }
    *reply = parsed.toMap();
    if (Envelopes::isSuccess(*reply))
        return true;
    *error = QString::fromUtf8(text);
    return false;
}

Checker::Checker(Client::WireConnection& connection, const QByteArray& tableName, const Workload& workload,
                 QString* error)
    : connection_(connection), tableName_(tableName), workload_(workload), error_(error)
{}

bool Checker::run()
{
    const unsigned last = workload_.items - 1;
    return checkUpdate(0) && checkGet(0) && checkGet(workload_.items / 2) && checkGet(last) && checkQuery(0) &&
           checkQuery(last - last % ItemsPerHashKey) && checkScan(0);
}

bool Checker::send(Operation operation, unsigned item, QVariantMap* reply)
{
    RequestMaker requests(tableName_, operation, workload_, 1);
    return exchangeWell(connection_, requests.at(item), reply, error_);
}

bool Checker::expect(const char* what, const QVariant& found, const QVariant& wanted)
{
    if (found == wanted)
        return true;
    *error_ = QStringLiteral("%1: expected %2, found %3")
                  .arg(QString::fromLatin1(what), QString::fromUtf8(Json::serialize(wanted)),
                       QString::fromUtf8(Json::serialize(found)));
    return false;
}

bool Checker::checkGet(unsigned item)
{
    // Only its count may differ, by what was added to it.
    QVariantMap reply;
    if (!send(Operation::Get, item, &reply))
        return false;
    QVariantMap found = reply.value("Item").toMap();
    QVariantMap wanted = workload_.item();
    found.remove(CountAttribute);
    wanted.remove(CountAttribute);
    return expect("GetItem", found, wanted);
}

bool Checker::checkUpdate(unsigned item)
{
    QVariantMap reply;
    QVariantMap wanted = workload_.item();
    const qlonglong before = wanted.value(CountAttribute).toMap().value("N").toLongLong();
    wanted.insert(CountAttribute, QVariantMap{{"N", QString::number(before + 1)}});
    return send(Operation::Put, item, &reply) && send(Operation::Update, item, &reply) &&
           send(Operation::Get, item, &reply) && expect("UpdateItem", reply.value("Item"), wanted) &&
           send(Operation::Put, item, &reply);
}

bool Checker::checkQuery(unsigned first)
{
    QVariantMap reply;
    if (!send(Operation::Query, first, &reply) || !expect("Count", reply.value("Count"), qlonglong(ItemsPerHashKey)))
        return false;
    const QVariantList found = reply.value("Items").toList();
    for (unsigned i = 0; i < ItemsPerHashKey; ++i) {
        if (!checkWalked("Query", found.value(i).toMap(), first + i))
            return false;
    }
    return true;
}

/** The items after the first one of a hash key are known; those that follow depend on the partitions. */
bool Checker::checkScan(unsigned first)
{
    QVariantMap reply;
    if (!send(Operation::Scan, first, &reply))
        return false;
    const QVariantList found = reply.value("Items").toList();
    if (!expect("ScannedCount", reply.value("ScannedCount"), found.size()))
        return false;
    for (unsigned i = 0; i < found.size(); ++i) {
        const QVariantMap item = found.at(i).toMap();
        if (!checkWalked("Scan", item, i + 1 < ItemsPerHashKey ? first + i + 1 : numberOf(item)))
            return false;
    }
    return true;
}

bool Checker::checkWalked(const char* what, QVariantMap found, unsigned number)
{
    QVariantMap wanted = walkedItem(workload_, number);
    found.remove(CountAttribute);
    wanted.remove(CountAttribute);
    return expect(what, found, wanted);
}

} // namespace Bench
