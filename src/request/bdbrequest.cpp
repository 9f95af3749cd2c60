#include "request/bdbrequest.h"

#include "log/log.h"
#include "protocol/operations.h"
#include "request/adminops.h"
#include "request/batchwrite.h"
#include "request/itemops.h"
#include "request/scanquery.h"
#include "request/tableops.h"
#include "json/usualreader.h"

#include <QScopeGuard>

#include <string_view>

using namespace Qt::StringLiterals;

namespace {

struct Handler {
    Operations::Operation operation;
    int (*run)(BDBRequest&);
    Json::MemberPath items = {}; // to be written
};

constexpr const char* ItemOfPut[] = {"Item"};
constexpr const char* ItemOfBatch[] = {"RequestItems", nullptr, nullptr, "PutRequest", "Item"};

constexpr Handler Handlers[] = {
    {Operations::Query, Requests::queryTable},
    {Operations::GetItem, Requests::getItem},
    {Operations::PutItem, Requests::putItem, ItemOfPut},
    {Operations::UpdateItem, Requests::updateItem},
    {Operations::DescribeTable, Requests::describeTable},
    {Operations::UpdateTable, Requests::updateTable},
    {Operations::DeleteItem, Requests::deleteItem},
    {Operations::BatchWriteItem, Requests::batchWriteItem, ItemOfBatch},
    {Operations::CreateTable, Requests::createTable},
    {Operations::DeleteTable, Requests::deleteTable},
    {Operations::Scan, Requests::scanTable},
    {Operations::DescribeBackup, Requests::describeBackup},
};

/** The handler of the request's operation, or null. */
const Handler* findHandler(const BDBRequest& request)
{
    // Kept: names are compared up to their first zero byte; anything after it is ignored.
    const std::string_view name = request.operation.constData();
    for (const Handler& handler : Handlers) {
        if (handler.operation.isNamed(name))
            return &handler;
    }
    return nullptr;
}

} // namespace

QByteArray BDBRequest::tableName() const
{
    return parsedBody.value(u"TableName"_s).toString().toUtf8();
}

void BDBRequest::reset()
{
    status = StatusSuccess;
    operation.resize(0);
    body = QByteArray();
    parsedBody = QVariantMap();
    reply = QVariantMap();
    table.reset();
}

bool Requests::parseBody(BDBRequest& request)
{
    const Handler* handler = findHandler(request);
    QVariant parsed;
    if (!Json::parseUsual(request.body, &parsed, handler != nullptr ? handler->items : Json::MemberPath()))
        return false;
    request.parsedBody = parsed.toMap(); // Kept: JSON other than an object is an empty request
    return true;
}

void Requests::dispatch(BDBRequest& request)
{
    if (const Handler* handler = findHandler(request)) {
        // A client that is slow to read its reply must not keep the environment from being deleted.
        const auto leave = qScopeGuard([&] { request.table.leave(); });
        request.status = handler->run(request);
        return;
    }
    LOG_ERROR("bdbrequest", 120) << "Unknown request opcode is " << request.operation;
    request.status = StatusInternalError;
}
