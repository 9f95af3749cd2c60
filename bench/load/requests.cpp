#include "load/requests.h"

#include "protocol/bodies.h"
#include "protocol/framing.h"
#include "protocol/operations.h"
#include "json/jsonwriter.h"

#include <algorithm>

namespace Bench {

namespace {

QString hashText(unsigned item)
{
    return QString::fromLatin1(hashKey(item));
}

QString rangeText(unsigned item)
{
    return QString::fromLatin1(rangeKey(item));
}

QVariantMap itemWithKeys(const Workload& workload, unsigned number)
{
    QVariantMap item = workload.item();
    item.insert(HashAttribute, Bodies::stringValue(hashText(number)));
    item.insert(RangeAttribute, Bodies::stringValue(rangeText(number)));
    return item;
}

PreparedRequest putRequest(const QString& table, const Workload& workload)
{
    return {Operations::PutItem, Bodies::putItem(table, itemWithKeys(workload, 0)), 1};
}

PreparedRequest getRequest(const QString& table)
{
    return {Operations::GetItem, Bodies::itemByKey(table, hashText(0), rangeText(0)), 1};
}

PreparedRequest updateRequest(const QString& table)
{
    const QVariantMap addOne = Bodies::update(Bodies::UpdateAdd, {{"N", "1"}});
    return {Operations::UpdateItem, Bodies::updateItem(table, hashText(0), rangeText(0), {{CountAttribute, addOne}}),
            1};
}

PreparedRequest queryRequest(const QString& table)
{
    QVariantMap body = Bodies::query(table, hashText(0));
    body.insert("Limit", ItemsPerHashKey);
    return {Operations::Query, body, 1};
}

PreparedRequest scanRequest(const QString& table)
{
    QVariantMap body = Bodies::table(table);
    body.insert("ExclusiveStartKey", Bodies::key(hashText(0), rangeText(0)));
    body.insert("Limit", ItemsPerPage);
    return {Operations::Scan, body, 1};
}

PreparedRequest batchRequest(const QString& table, const Workload& workload)
{
    QVariantList puts;
    for (unsigned i = 0; i < ItemsPerBatch; ++i)
        puts.append(QVariantMap{{"PutRequest", QVariantMap{{"Item", itemWithKeys(workload, i)}}}});
    return {Operations::BatchWriteItem, {{"RequestItems", QVariantMap{{table, puts}}}}, ItemsPerBatch};
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

PreparedRequest::PreparedRequest(const Operations::Operation& operation, const QVariantMap& body, unsigned items)
{
    const QByteArray name = operation.fullName();
    bytes_ = Framing::frameRequest(name, Json::serialize(body));
    bodyBegin_ = static_cast<qsizetype>(2 * Framing::LengthSize) + name.size();
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
    return Bodies::createTable(QString::fromUtf8(tableName), HashAttribute, RangeAttribute);
}

} // namespace Bench
