#include "request/bdbrequest.h"

#include "log/log.h"
#include "records/lookup.h"
#include "request/adminops.h"
#include "request/batchwrite.h"
#include "request/itemops.h"
#include "request/scanquery.h"
#include "request/tableops.h"

#include <cstring>

namespace {

struct Operation {
    const char* name;
    int (*run)(BDBRequest&);
};

constexpr Operation Operations[] = {
    {"DynamoDB_20111205.Query", queryTable},
    {"DynamoDB_20111205.GetItem", getItem},
    {"DynamoDB_20111205.PutItem", putItem},
    {"DynamoDB_20111205.UpdateItem", updateItem},
    {"DynamoDB_20111205.DescribeTable", describeTable},
    {"DynamoDB_20111205.UpdateTable", updateTable},
    {"DynamoDB_20111205.DeleteItem", deleteItem},
    {"DynamoDB_20111205.BatchWriteItem", batchWriteItem},
    {"DynamoDB_20111205.CreateTable", createTable},
    {"DynamoDB_20111205.DeleteTable", deleteTable},
    {"DynamoDB_20111205.Scan", scanTable},
    {"Quorva_1.DescribeBackup", describeBackup},
};

} // namespace

void dispatch(BDBRequest& request)
{
    // Kept: names are compared up to their first zero byte: a name that goes on behind one is the operation in front of
    // it.
    const char* name = request.operation.constData();
    for (const Operation& operation : Operations) {
        if (std::strcmp(name, operation.name) == 0) {
            request.status = operation.run(request);
            // A client that is slow to read its reply must not keep the environment from being deleted meanwhile.
            dropEnvironment(request);
            return;
        }
    }
    LOG_ERROR("bdbrequest", 120) << "Unknown request opcode is " << request.operation;
    request.status = StatusInternalError;
}
