#include "request/bdbrequest.h"

#include "log/log.h"
#include "request/adminops.h"
#include "request/batchwrite.h"
#include "request/itemops.h"
#include "request/scanquery.h"
#include "request/tableops.h"

#include <QScopeGuard>

#include <cstring>

using namespace Qt::StringLiterals;

namespace {

struct Operation {
    const char* name;
    int (*run)(BDBRequest&);
};

constexpr Operation Operations[] = {
    {"DynamoDB_20111205.Query", Requests::queryTable},
    {"DynamoDB_20111205.GetItem", Requests::getItem},
    {"DynamoDB_20111205.PutItem", Requests::putItem},
    {"DynamoDB_20111205.UpdateItem", Requests::updateItem},
    {"DynamoDB_20111205.DescribeTable", Requests::describeTable},
    {"DynamoDB_20111205.UpdateTable", Requests::updateTable},
    {"DynamoDB_20111205.DeleteItem", Requests::deleteItem},
    {"DynamoDB_20111205.BatchWriteItem", Requests::batchWriteItem},
    {"DynamoDB_20111205.CreateTable", Requests::createTable},
    {"DynamoDB_20111205.DeleteTable", Requests::deleteTable},
    {"DynamoDB_20111205.Scan", Requests::scanTable},
    {"Quorva_1.DescribeBackup", Requests::describeBackup},
};

} // namespace

QByteArray BDBRequest::tableName() const
{
    return parsedBody.value(u"TableName"_s).toString().toUtf8();
}

void Requests::dispatch(BDBRequest& request)
{
    // Kept: names are compared up to their first zero byte: a name that goes on behind one is the operation in front of
    // it.
    const char* name = request.operation.constData();
    for (const Operation& operation : Operations) {
        if (std::strcmp(name, operation.name) == 0) {
            // A client that is slow to read its reply must not keep the environment from being deleted meanwhile.
            const auto leave = qScopeGuard([&] { request.table.leave(); });
            request.status = operation.run(request);
            return;
        }
    }
    LOG_ERROR("bdbrequest", 120) << "Unknown request opcode is " << request.operation;
    request.status = StatusInternalError;
}
