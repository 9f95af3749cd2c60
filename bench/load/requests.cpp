#include "load/requests.h"

#include "load/bodies2012.h"
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

/** The prefix of the API of 2012 in the header that names the operation. */
constexpr const char* Prefix2012 = "DynamoDB_20120810.";

QByteArray headText(const Operations::Operation& operation, qsizetype bodyBytes, Interface interface)
{
    const QByteArray target = interface == Interface::Http2012
                                  ? Prefix2012 + QByteArray(operation.name.data(), qsizetype(operation.name.size()))
                                  : operation.fullName();
    return "POST / HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Type: application/x-amz-json-1.0\r\nX-Amz-Target: " + target +
           "\r\nContent-Length: " + QByteArray::number(bodyBytes) + "\r\n\r\n";
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

PreparedRequest putRequest(const QString& table, const Workload& workload, Interface interface)
{
    return {Operations::PutItem, Bodies::putItem(table, itemWithKeys(workload, 0)), 1, interface};
}

PreparedRequest getRequest(const QString& table, Interface interface)
{
    return {Operations::GetItem, Bodies::itemByKey(table, hashText(0), rangeText(0)), 1, interface};
}

PreparedRequest updateRequest(const QString& table, Interface interface)
{
    const QVariantMap addOne = Bodies::update(Bodies::UpdateAdd, {{"N", "1"}});
    return {Operations::UpdateItem, Bodies::updateItem(table, hashText(0), rangeText(0), {{CountAttribute, addOne}}), 1,
            interface};
}

PreparedRequest queryRequest(const QString& table, Interface interface)
{
    QVariantMap body = Bodies::query(table, hashText(0));
    body.insert("Limit", ItemsPerHashKey);
    return {Operations::Query, body, 1, interface};
}

PreparedRequest scanRequest(const QString& table, Interface interface)
{
    QVariantMap body = Bodies::table(table);
    body.insert("ExclusiveStartKey", Bodies::key(hashText(0), rangeText(0)));
    body.insert("Limit", ItemsPerPage);
    return {Operations::Scan, body, 1, interface};
}

QVariantMap batchBody(const QString& table, const Workload& workload)
{
    QVariantList puts;
    for (unsigned i = 0; i < ItemsPerBatch; ++i)
        puts.append(QVariantMap{{"PutRequest", QVariantMap{{"Item", itemWithKeys(workload, i)}}}});
    return {{"RequestItems", QVariantMap{{table, puts}}}};
}

/** The same requests in the API of 2012; an update has a condition as well. */
std::vector<PreparedRequest> prepare2012(const QString& table, Operation operation, const Workload& workload)
{
    const auto http = [](const Operations::Operation& name, const QVariantMap& body) {
        return PreparedRequest(name, body, 1, Interface::Http2012);
    };
    const auto put = [&] { return http(Operations::PutItem, Bodies::putItem(table, itemWithKeys(workload, 0))); };
    const auto get = [&] { return http(Operations::GetItem, Bodies2012::itemByKey(table, hashText(0), rangeText(0))); };
    switch (operation) {
    case Operation::Put:
        return {put()};
    case Operation::Get:
        return {get()};
    case Operation::Mixed:
        return {get(), put()};
    case Operation::Update:
        return {http(Operations::UpdateItem, Bodies2012::addOne(table, hashText(0), rangeText(0)))};
    case Operation::Query:
        return {http(Operations::Query, Bodies2012::query(table, hashText(0)))};
    case Operation::Scan:
        return {http(Operations::Scan, Bodies2012::scan(table, hashText(0), rangeText(0)))};
    case Operation::Batch:
        return {{Operations::BatchWriteItem, batchBody(table, workload), ItemsPerBatch, Interface::Http2012}};
    }
    return {};
}

std::vector<PreparedRequest> prepare(const QString& table, Operation operation, const Workload& workload,
                                     Interface interface)
{
    if (interface == Interface::Http2012)
        return prepare2012(table, operation, workload);
    switch (operation) {
    case Operation::Put:
        return {putRequest(table, workload, interface)};
    case Operation::Get:
        return {getRequest(table, interface)};
    case Operation::Update:
        return {updateRequest(table, interface)};
    case Operation::Mixed:
        return {getRequest(table, interface), putRequest(table, workload, interface)};
    case Operation::Query:
        return {queryRequest(table, interface)};
    case Operation::Scan:
        return {scanRequest(table, interface)};
    case Operation::Batch:
        return {{Operations::BatchWriteItem, batchBody(table, workload), ItemsPerBatch, interface}};
    }
    return {};
}

} // namespace

PreparedRequest::PreparedRequest(const Operations::Operation& operation, const QVariantMap& body, unsigned items,
                                 Interface interface)
{
    const QByteArray text = Json::serialize(body);
    bytes_ = interface == Interface::Wire ? Framing::frameRequest(operation.fullName(), text)
                                          : headText(operation, text.size(), interface) + text;
    bodyBegin_ = bytes_.size() - text.size();
    // The quotes distinguish the keys from other text. All items have one hash key, so it is found repeatedly.
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
                        bytes + places_[i].hash + 2); // after the quote and the "h"
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
                           std::uint64_t seed, Interface interface)
    : operation_(operation), items_(workload.items), random_(seed),
      requests_(prepare(QString::fromUtf8(tableName), operation, workload, interface))
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
