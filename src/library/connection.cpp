#include "quorva/connection.h"

#include "client/wireconnection.h"
#include "library/rangereader.h"
#include "library/requestbodies.h"
#include "protocol/bodies.h"
#include "protocol/endpoint.h"
#include "protocol/operations.h"
#include "json/jsonreader.h"
#include "json/jsonwriter.h"

#include <algorithm>
#include <limits>

namespace Quorva {

namespace {

int milliseconds(std::chrono::milliseconds limit)
{
    using Count = std::chrono::milliseconds::rep;
    return static_cast<int>(std::clamp<Count>(limit.count(), 0, std::numeric_limits<int>::max()));
}

void addWriteOptions(const WriteOptions& options, QVariantMap* body)
{
    Bodies::addExpected(options.expected, body);
    if (options.returnOld)
        Bodies::setReturnValues(Bodies::ReturnAllOld, body);
}

const char* nameOf(ReturnValues values)
{
    switch (values) {
    case ReturnValues::None:
        return Bodies::ReturnNone;
    case ReturnValues::AllOld:
        return Bodies::ReturnAllOld;
    case ReturnValues::AllNew:
        return Bodies::ReturnAllNew;
    case ReturnValues::UpdatedOld:
        return Bodies::ReturnUpdatedOld;
    case ReturnValues::UpdatedNew:
        return Bodies::ReturnUpdatedNew;
    }
    return Bodies::ReturnNone;
}

Result send(Connection* connection, const Operations::Operation& operation, const QVariantMap& body)
{
    return connection->call(QString::fromLatin1(operation.fullName()), body);
}

} // namespace

QString defaultHost()
{
    return QString::fromLatin1(Endpoint::Host);
}

int defaultPort()
{
    return Endpoint::DefaultPort;
}

class Connection::Private {
public:
    Client::WireConnection connection;
};

Connection::Connection() : d_(std::make_unique<Private>()) {}

Connection::~Connection() = default;

Connection::Connection(Connection&& other) noexcept = default;
Connection& Connection::operator=(Connection&& other) noexcept = default;

Result Connection::open(const Server& server)
{
    d_->connection.setConnectTimeout(milliseconds(server.connectLimit));
    d_->connection.setReceiveTimeout(milliseconds(server.receiveLimit));
    return d_->connection.open(server.host, server.port) ? Result() : Result::noReply(d_->connection.error());
}

void Connection::close()
{
    d_->connection.close();
}

bool Connection::isOpen() const
{
    return d_->connection.isOpen();
}

Result Connection::call(const QString& operation, const QVariantMap& body)
{
    if (!isOpen())
        return Result::noReply(QStringLiteral("the connection is not open"));
    QByteArray json;
    if (!d_->connection.exchange(Operations::fullName(operation.toLatin1()), Json::serialize(body), &json))
        return Result::noReply(d_->connection.error());
    QVariant reply;
    if (!Json::parse(json, &reply) || reply.typeId() != QMetaType::QVariantMap) {
        close();
        return Result::noReply(QStringLiteral("the reply is not a JSON object"));
    }
    return Result::fromReply(reply.toMap());
}

Result Connection::createTable(const Table& table)
{
    return send(this, Operations::CreateTable, tableBody(table));
}

Result Connection::describeTable(const QString& table)
{
    return send(this, Operations::DescribeTable, Bodies::table(table));
}

Result Connection::deleteTable(const QString& table)
{
    return send(this, Operations::DeleteTable, Bodies::table(table));
}

Result Connection::putItem(const QString& table, const Item& item, const WriteOptions& options)
{
    QVariantMap body = Bodies::putItem(table, item);
    addWriteOptions(options, &body);
    return send(this, Operations::PutItem, body);
}

Result Connection::getItem(const QString& table, const Key& key, const QStringList& attributes)
{
    QVariantMap body = Bodies::itemByKey(table, key.hash, key.range);
    Bodies::addAttributesToGet(attributes, &body);
    return send(this, Operations::GetItem, body);
}

Result Connection::updateItem(const QString& table, const Key& key, const Updates& updates,
                              const UpdateOptions& options)
{
    QVariantMap body = Bodies::updateItem(table, key.hash, key.range, updates);
    Bodies::addExpected(options.expected, &body);
    if (options.returnValues != ReturnValues::None)
        Bodies::setReturnValues(nameOf(options.returnValues), &body);
    return send(this, Operations::UpdateItem, body);
}

Result Connection::deleteItem(const QString& table, const Key& key, const WriteOptions& options)
{
    QVariantMap body = Bodies::itemByKey(table, key.hash, key.range);
    addWriteOptions(options, &body);
    return send(this, Operations::DeleteItem, body);
}

Result Connection::batchWrite(const Batch& batch)
{
    return send(this, Operations::BatchWriteItem, Bodies::batchWrite(batch.requestItems()));
}

Result Connection::query(const QString& table, const QString& hash, const QueryOptions& options)
{
    return RangeReader(this, Operations::Query, queryBody(table, hash, options), options.limit).firstPage();
}

Result Connection::scan(const QString& table, const ScanOptions& options)
{
    return send(this, Operations::Scan, scanBody(table, options));
}

ItemRange Connection::queryAll(const QString& table, const QString& hash, const QueryOptions& options)
{
    return ItemRange(
        std::make_unique<RangeReader>(this, Operations::Query, queryBody(table, hash, options), options.limit));
}

ItemRange Connection::scanAll(const QString& table, const ScanOptions& options)
{
    return ItemRange(std::make_unique<RangeReader>(this, Operations::Scan, scanBody(table, options), options.limit));
}

} // namespace Quorva
