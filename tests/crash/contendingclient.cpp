#include "contendingclient.h"

#include "json/jsonwriter.h"

#include <gtest/gtest.h>

#include <array>

namespace {

QVariantMap key(const Place& place)
{
    return itemKey(place.hash, place.range);
}

} // namespace

ContendingClient::ContendingClient(Stage* stage, int port, unsigned seed)
    : stage_(*stage), client_(port, {}), random_(seed)
{
    random_.discard(10);
}

void ContendingClient::addAndContend()
{
    for (;;) {
        const Place& place = anyOf(stage_.counters);
        if (!(upTo(3) == 0 ? contend(place) : add(place)))
            return;
    }
}

void ContendingClient::putThoseToDelete()
{
    for (;;) {
        const Place& place = anyOf(stage_.deleted);
        const int number = ++stage_.deletedVersion;
        if (!send("PutItem", place.table, {{"Item", itemAt(place, number)}}))
            return;
        stage_.shown.show(place, number, "a put");
    }
}

void ContendingClient::deleteThem()
{
    for (;;) {
        const Place& place = anyOf(stage_.deleted);
        if (!send("DeleteItem", place.table, {{"Key", key(place)}, {"ReturnValues", "ALL_OLD"}}))
            return;
        if (const int old = versionOf(reply_.value("Attributes").toMap()); old != 0)
            stage_.shown.show(place, old + 1, "a deletion"); // it is gone
    }
}

void ContendingClient::writeBatches()
{
    for (;;) {
        const int number = ++stage_.batchVersion;
        const unsigned spelling = upTo(100);
        QVariantMap tables;
        for (const Place& place : stage_.batch) {
            QVariantList entries = tables.value(stage_.name(place.table, spelling)).toList();
            entries.append(QVariantMap{{"PutRequest", QVariantMap{{"Item", itemAt(place, number)}}}});
            tables.insert(stage_.name(place.table, spelling), entries);
        }
        if (!send("BatchWriteItem", {{"RequestItems", tables}}))
            return;
        for (const Place& place : stage_.batch)
            stage_.shown.show(place, number, "a batch");
    }
}

void ContendingClient::addToList()
{
    for (;;) {
        const QString range = QStringLiteral("%1").arg(++stage_.listed, 8, 10, QChar('0'));
        const QVariantMap item{{"h", textValue(stage_.list)}, {"r", textValue(range)}};
        // Writes that were not acknowledged may be missing, and their numbers with them.
        if (!send("PutItem", "t0", {{"Item", item}}))
            return;
    }
}

void ContendingClient::read()
{
    for (;;) {
        bool done = false;
        switch (upTo(8)) {
        case 0:
            done = queryCounters();
            break;
        case 1:
            done = countList();
            break;
        case 2:
            done = scan();
            break;
        case 3:
            done = get(stage_.batch);
            break;
        case 4:
            done = get(stage_.deleted);
            break;
        default:
            done = get(stage_.counters);
            break;
        }
        if (!done)
            return;
    }
}

/** False if no reply was received. Otherwise reply_ is a success, or a refused condition. */
bool ContendingClient::send(const QByteArray& operation, const QVariantMap& body)
{
    const auto reply = client_.request(operation, body);
    reply_ = reply.value_or(QVariantMap());
    refused_ = reply_.value("__type") == QVariant("ConditionalCheckFailedException");
    if (reply && !refused_) {
        EXPECT_EQ(reply_.value("__rc"), QVariant(200LL)) << Json::serialize(reply_).toStdString();
    }
    return reply.has_value();
}

bool ContendingClient::send(const QByteArray& operation, const QString& table, QVariantMap body)
{
    body.insert("TableName", stage_.name(table, upTo(100)));
    return send(operation, body);
}

bool ContendingClient::get(const std::vector<Place>& places)
{
    const Place& place = anyOf(places);
    if (!send("GetItem", place.table, {{"Key", key(place)}}))
        return false;
    stage_.shown.show(place, versionOf(reply_.value("Item").toMap()), "a get");
    return true;
}

bool ContendingClient::add(const Place& place)
{
    static constexpr std::array Returned{"ALL_NEW", "UPDATED_NEW", "ALL_OLD", "NONE"};
    const char* const values = Returned[upTo(Returned.size())];
    const QVariantMap one{{"Action", "ADD"}, {"Value", numberValue("1")}};
    if (!send("UpdateItem", place.table,
              {{"Key", key(place)}, {"AttributeUpdates", QVariantMap{{"version", one}}}, {"ReturnValues", values}}))
        return false;
    const int number = versionOf(reply_.value("Attributes").toMap());
    stage_.shown.show(place, values == Returned[2] ? number + 1 : number, "an update");
    return true;
}

/** Replaces the version that it has read, unless others were faster, which the refusal then shows. */
bool ContendingClient::contend(const Place& place)
{
    if (!send("GetItem", place.table, {{"Key", key(place)}}))
        return false;
    const int found = versionOf(reply_.value("Item").toMap());
    stage_.shown.show(place, found, "a get");
    if (found == 0)
        return true;
    if (upTo(2) == 0)
        return commit(place, found);
    if (!send("PutItem", place.table,
              {{"Item", itemAt(place, found + 1)},
               {"Expected", QVariantMap{{"version", QVariantMap{{"Value", version(found).value("version")}}}}}}))
        return false;
    stage_.shown.show(place, found + 1, refused_ ? "a refused condition" : "a conditional put");
    return true;
}

/** The same with a Commit, whose refusal contains the current version. */
bool ContendingClient::commit(const Place& place, int found)
{
    const QVariantMap entry{{"TableName", stage_.name(place.table, upTo(100))},
                            {"Key", key(place)},
                            {"Expected", QVariantMap{{"Item", version(found)}}},
                            {"Put", version(found + 1)}};
    if (!send("Quorva_1.Commit", {{"Entries", QVariantList{entry}}}))
        return false;
    const QVariantMap mismatch = reply_.value("Mismatches").toList().value(0).toMap();
    if (refused_)
        stage_.shown.show(place, versionOf(mismatch.value("Item").toMap()), "a mismatch");
    else
        stage_.shown.show(place, found + 1, "a commit");
    return true;
}

void ContendingClient::showAll(const QString& table, const char* how)
{
    for (const QVariant& entry : reply_.value("Items").toList()) {
        const QVariantMap item = entry.toMap();
        const Place place{table, item.value("h").toMap().value("S").toString(),
                          item.value("r").toMap().value("S").toString()};
        if (versionOf(item) != 0)
            stage_.shown.show(place, versionOf(item), how);
    }
}

bool ContendingClient::queryCounters()
{
    if (!send("Query", "t0", {{"HashKeyValue", textValue("counters")}, {"Limit", 1000}}))
        return false;
    showAll("t0", "a query");
    return true;
}

bool ContendingClient::countList()
{
    if (!send("Query", "t0", {{"HashKeyValue", textValue(stage_.list)}, {"Count", true}, {"Limit", 1'000'000}}))
        return false;
    stage_.shown.show(stage_.listLength, reply_.value("Count").toInt(), "a count");
    return true;
}

bool ContendingClient::scan()
{
    if (!send("Scan", "t1", {{"Limit", 2}, {"ExclusiveStartKey", itemKey("counters", "0")}}))
        return false;
    showAll("t1", "a scan");
    return true;
}
