#include "load/requests.h"

#include "client/wireconnection.h"
#include "protocol/framing.h"
#include "protocol/operations.h"
#include "json/jsonadapter.h"

#include <algorithm>

namespace Bench {

namespace {

constexpr qsizetype LengthBytes = 4; // in front of the name, and of the body

QVariantMap stringValue(const QByteArray& text)
{
    return {{"S", QString::fromLatin1(text)}};
}

QVariantMap keyOf(unsigned item)
{
    return {{"HashKeyElement", stringValue(hashKey(item))}, {"RangeKeyElement", stringValue(rangeKey(item))}};
}

QVariantMap itemWithKeys(const Workload& workload, unsigned number)
{
    QVariantMap item = workload.item();
    item.insert(HashAttribute, stringValue(hashKey(number)));
    item.insert(RangeAttribute, stringValue(rangeKey(number)));
    return item;
}

PreparedRequest putRequest(const QString& table, const Workload& workload)
{
    return {"PutItem", {{"TableName", table}, {"Item", itemWithKeys(workload, 0)}}, 1};
}

PreparedRequest getRequest(const QString& table)
{
    return {"GetItem", {{"TableName", table}, {"Key", keyOf(0)}}, 1};
}

PreparedRequest updateRequest(const QString& table)
{
    const QVariantMap addOne{{"Action", "ADD"}, {"Value", QVariantMap{{"N", "1"}}}};
    return {"UpdateItem",
            {{"TableName", table}, {"Key", keyOf(0)}, {"AttributeUpdates", QVariantMap{{CountAttribute, addOne}}}},
            1};
}

PreparedRequest queryRequest(const QString& table)
{
    return {"Query", {{"TableName", table}, {"HashKeyValue", stringValue(hashKey(0))}, {"Limit", ItemsPerHashKey}}, 1};
}

PreparedRequest scanRequest(const QString& table)
{
    return {"Scan", {{"TableName", table}, {"ExclusiveStartKey", keyOf(0)}, {"Limit", ItemsPerPage}}, 1};
}

PreparedRequest batchRequest(const QString& table, const Workload& workload)
{
    QVariantList puts;
    for (unsigned i = 0; i < ItemsPerBatch; ++i)
        puts.append(QVariantMap{{"PutRequest", QVariantMap{{"Item", itemWithKeys(workload, i)}}}});
    return {"BatchWriteItem", {{"RequestItems", QVariantMap{{table, puts}}}}, ItemsPerBatch};
}

std::vector<PreparedRequest> prepare(const QString& table, Operation operation, const Workload& workload)
{
    switch (operation) {
    case Operation::Put:
        return {putRequest(table, workload)};
    case Operation::Get:
        return {getRequest(table)};
    case Operation::Update:
        return {updateRequest(table)};
    case Operation::Mixed:
        return {getRequest(table), putRequest(table, workload)};
    case Operation::Query:
        return {queryRequest(table)};
    case Operation::Scan:
        return {scanRequest(table)};
    case Operation::Batch:
        return {batchRequest(table, workload)};
    }
    return {};
}

} // namespace

PreparedRequest::PreparedRequest(const QByteArray& operation, const QVariantMap& body, unsigned items)
{
    const QByteArray name = Operations::fullName(operation);
    bytes_ = Framing::frameRequest(name, Json::serialize(body));
    bodyBegin_ = LengthBytes + name.size() + LengthBytes;
    // The quotes keep the keys apart from the letters of other texts. All items are of one hash key, so it is found
    // again and again.
    qsizetype hashFrom = bodyBegin_;
    for (unsigned item = 0; item < items; ++item) {
        KeyPlaces places;
        places.hash = bytes_.indexOf('"' + hashKey(item) + '"', hashFrom);
        places.range = bytes_.indexOf('"' + rangeKey(item) + '"', bodyBegin_);
        hashFrom = places.hash + 1;
        places_.push_back(places);
    }
}

void PreparedRequest::aim(unsigned first)
{
    char* const bytes = bytes_.data();
    for (unsigned i = 0; i < places_.size(); ++i) {
        const unsigned item = first + i;
        if (places_[i].hash >= 0)
            writeDigits(item / ItemsPerHashKey, HashDigits,
                        bytes + places_[i].hash + 2); // behind the quote and the "h"
        if (places_[i].range >= 0)
            writeDigits(item % ItemsPerHashKey, RangeDigits, bytes + places_[i].range + 2);
    }
}

void PreparedRequest::askForEcho(unsigned replyBytes)
{
    const QByteArray number = QByteArray::number(replyBytes);
    std::fill(bytes_.begin() + bodyBegin_, bytes_.end(), ' ');
    std::copy(number.begin(), number.end(), bytes_.begin() + bodyBegin_);
    places_.clear();
}

RequestMaker::RequestMaker(const QByteArray& tableName, Operation operation, const Workload& workload,
                           std::uint64_t seed)
    : operation_(operation), items_(workload.items), random_(seed),
      requests_(prepare(QString::fromUtf8(tableName), operation, workload))
{}

void RequestMaker::askForEcho(unsigned replyBytes)
{
    for (PreparedRequest& request : requests_)
        request.askForEcho(replyBytes);
}

const QByteArray& RequestMaker::next()
{
    PreparedRequest& request = requests_[random_.below(static_cast<unsigned>(requests_.size()))];
    request.aim(chooseItem(operation_, items_, random_));
    return request.bytes();
}

const QByteArray& RequestMaker::at(unsigned item)
{
    requests_.front().aim(item);
    return requests_.front().bytes();
}

QVariantMap tableDescription(const QByteArray& tableName)
{
    const auto key = [](const char* name) { return QVariantMap{{"AttributeName", name}, {"AttributeType", "S"}}; };
    return {
        {"TableName", QString::fromUtf8(tableName)},
        {"KeySchema", QVariantMap{{"HashKeyElement", key(HashAttribute)}, {"RangeKeyElement", key(RangeAttribute)}}}};
}

} // namespace Bench
