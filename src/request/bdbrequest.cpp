#include "request/bdbrequest.h"

#include "log/log.h"
#include "protocol/operations.h"
#include "records/lookup.h"
#include "request/adminops.h"
#include "request/batchwrite.h"
#include "request/itemops.h"
#include "request/scanquery.h"
#include "request/tableops.h"

#include <string_view>

namespace {

struct Handler {
    Operations::Operation operation;
    int (*run)(BDBRequest&);
};

constexpr Handler Handlers[] = {
    {Operations::Query, queryTable},
    {Operations::GetItem, getItem},
    {Operations::PutItem, putItem},
    {Operations::UpdateItem, updateItem},
    {Operations::DescribeTable, describeTable},
    {Operations::UpdateTable, updateTable},
    {Operations::DeleteItem, deleteItem},
    {Operations::BatchWriteItem, batchWriteItem},
    {Operations::CreateTable, createTable},
    {Operations::DeleteTable, deleteTable},
    {Operations::Scan, scanTable},
    {Operations::DescribeBackup, describeBackup},
};

} // namespace

void dispatch(BDBRequest& request)
{
    // Kept: names are compared up to their first zero byte: a name that goes on behind one is the operation in front of
    // it.
    const std::string_view name = request.operation.constData();
    for (const Handler& handler : Handlers) {
        if (handler.operation.isNamed(name)) {
            request.status = handler.run(request);
            // A client that is slow to read its reply must not keep the environment from being deleted meanwhile.
            dropEnvironment(request);
            return;
        }
    }
    LOG_ERROR("bdbrequest", 120) << "Unknown request opcode is " << request.operation;
    request.status = StatusInternalError;
}
