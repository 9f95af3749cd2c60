#include "quorva/connection.h"

#include "client/wireconnection.h"
#include "protocol/operations.h"
#include "quorva/bodies.h"
#include "quorva/pagereader.h"
#include "json/jsonadapter.h"

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
    if (!options.expected.isEmpty())
        body->insert(QStringLiteral("Expected"), options.expected);
    if (options.returnOld)
        body->insert(QStringLiteral("ReturnValues"), QStringLiteral("ALL_OLD"));
}

QString nameOf(ReturnValues values)
{
    switch (values) {
    case ReturnValues::None:
        break;
    case ReturnValues::AllOld:
        return QStringLiteral("ALL_OLD");
    case ReturnValues::AllNew:
        return QStringLiteral("ALL_NEW");
    case ReturnValues::UpdatedOld:
        return QStringLiteral("UPDATED_OLD");
    case ReturnValues::UpdatedNew:
        return QStringLiteral("UPDATED_NEW");
    }
    return {};
}

} // namespace

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
        return Result::noReply(QStringLiteral("the reply is no JSON object"));
    }
    return Result::fromReply(reply.toMap());
}

Result Connection::createTable(const Table& table)
{
    return call(QStringLiteral("CreateTable"), tableBody(table));
}

Result Connection::describeTable(const QString& table)
{
    return call(QStringLiteral("DescribeTable"), {{QStringLiteral("TableName"), table}});
}

Result Connection::deleteTable(const QString& table)
{
    return call(QStringLiteral("DeleteTable"), {{QStringLiteral("TableName"), table}});
}

Result Connection::putItem(const QString& table, const Item& item, const WriteOptions& options)
{
    QVariantMap body{{QStringLiteral("TableName"), table}, {QStringLiteral("Item"), item}};
    addWriteOptions(options, &body);
    return call(QStringLiteral("PutItem"), body);
}

Result Connection::getItem(const QString& table, const Key& key, const QStringList& attributes)
{
    QVariantMap body{{QStringLiteral("TableName"), table}, {QStringLiteral("Key"), keyBody(key)}};
    if (!attributes.isEmpty())
        body.insert(QStringLiteral("AttributesToGet"), attributes);
    return call(QStringLiteral("GetItem"), body);
}

Result Connection::updateItem(const QString& table, const Key& key, const Updates& updates,
                              const UpdateOptions& options)
{
    QVariantMap body{{QStringLiteral("TableName"), table},
                     {QStringLiteral("Key"), keyBody(key)},
                     {QStringLiteral("AttributeUpdates"), updates}};
    addWriteOptions({options.expected}, &body);
    if (const QString values = nameOf(options.returnValues); !values.isEmpty())
        body.insert(QStringLiteral("ReturnValues"), values);
    return call(QStringLiteral("UpdateItem"), body);
}

Result Connection::deleteItem(const QString& table, const Key& key, const WriteOptions& options)
{
    QVariantMap body{{QStringLiteral("TableName"), table}, {QStringLiteral("Key"), keyBody(key)}};
    addWriteOptions(options, &body);
    return call(QStringLiteral("DeleteItem"), body);
}

Result Connection::batchWrite(const Batch& batch)
{
    return call(QStringLiteral("BatchWriteItem"), {{QStringLiteral("RequestItems"), batch.requestItems()}});
}

Result Connection::query(const QString& table, const QString& hash, const QueryOptions& options)
{
    return call(QStringLiteral("Query"), queryBody(table, hash, options));
}

Result Connection::scan(const QString& table, const ScanOptions& options)
{
    return call(QStringLiteral("Scan"), scanBody(table, options));
}

ItemRange Connection::queryAll(const QString& table, const QString& hash, const QueryOptions& options)
{
    return ItemRange(std::make_unique<PageReader>(this, PagedRequest::query(table, hash, options)));
}

ItemRange Connection::scanAll(const QString& table, const ScanOptions& options)
{
    return ItemRange(std::make_unique<PageReader>(this, PagedRequest::scan(table, options)));
}

} // namespace Quorva
