#include "request/dispatch.h"

#include "log/log.h"
#include "metrics/servercounters.h"
#include "protocol/operations.h"
#include "request/adminops.h"
#include "request/batchwrite.h"
#include "request/bdbrequest.h"
#include "request/commit.h"
#include "request/itemops.h"
#include "request/listtables.h"
#include "request/scanquery.h"
#include "request/spaceops.h"
#include "request/status.h"
#include "request/tableops.h"

#include <QScopeGuard>

#include <iterator>
#include <string_view>

using namespace Qt::StringLiterals;

namespace {

using enum Requests::Duration;

struct Handler {
    Operations::Operation operation;
    int (*run)(BDBRequest&);
    Requests::Duration duration; // of a request with a small body. Long: it opens, closes, flushes or copies an
                                 // environment, measures its directory, or walks all partitions
    Json::MemberPath items = {}; // to be written; they remain text if they are canonical (Json::SplitObject)
};

constexpr const char* ItemOfPut[] = {"Item"};
constexpr const char* ItemOfBatch[] = {"RequestItems", nullptr, nullptr, "PutRequest", "Item"};
constexpr const char* ItemOfCommit[] = {"Entries", nullptr, "Put"};

constexpr Handler Handlers[] = {
    {Operations::Query, Requests::queryTable, Short},
    {Operations::GetItem, Requests::getItem, Short},
    {Operations::PutItem, Requests::putItem, Short, ItemOfPut},
    {Operations::UpdateItem, Requests::updateItem, Short},
    {Operations::DescribeTable, Requests::describeTable, Long},
    {Operations::UpdateTable, Requests::updateTable, Long},
    {Operations::DeleteItem, Requests::deleteItem, Short},
    {Operations::BatchWriteItem, Requests::batchWriteItem, Short, ItemOfBatch},
    {Operations::CreateTable, Requests::createTable, Long},
    {Operations::DeleteTable, Requests::deleteTable, Long},
    {Operations::Scan, Requests::scanTable, Long},
    {Operations::Commit, Requests::commit, Short, ItemOfCommit},
    {Operations::DescribeBackup, Requests::describeBackup, Short},
    {Operations::ListTables, Requests::listTables, Long},
    {Operations::Status, Requests::status, Apart},
    {Operations::CompactTable, Requests::compactTable, Long},
    {Operations::DropTable, Requests::dropTable, Long},
    {Operations::TruncateTable, Requests::truncateTable, Long},
};
static_assert(std::size(Handlers) <= BDBRequest::UnknownOperation);

// Just parsing a larger body takes as long as several small requests. A batch of 25 items of 1 KB is smaller.
constexpr qsizetype ShortBody = 32 * 1024;

std::size_t numberOf(const BDBRequest& request)
{
    // Kept: names are compared up to their first zero byte; anything after it is ignored.
    const std::string_view name = request.operation.constData();
    for (std::size_t number = 0; number < std::size(Handlers); ++number) {
        if (Handlers[number].operation.isNamed(name))
            return number;
    }
    return BDBRequest::UnknownOperation;
}

/** Null for an unknown name. */
const Handler* findHandler(BDBRequest& request)
{
    if (request.operationNumber == BDBRequest::NotIdentified)
        request.operationNumber = numberOf(request);
    return request.operationNumber < std::size(Handlers) ? &Handlers[request.operationNumber] : nullptr;
}

/** The table or the directory that the request names; for a batch, the first table. */
QByteArray firstTableOf(const BDBRequest& request)
{
    const QVariantMap batch = request.parsedBody.value("RequestItems"_L1).toMap();
    if (!batch.isEmpty())
        return batch.firstKey().toUtf8();
    const QByteArray table = request.tableName();
    return table.isEmpty() ? request.parsedBody.value("Directory"_L1).toString().toUtf8() : table;
}

} // namespace

Requests::Duration Requests::durationOf(BDBRequest& request)
{
    const Handler* const handler = findHandler(request);
    const Duration duration = handler != nullptr ? handler->duration : Short;
    return duration == Short && request.body.size() > ShortBody ? Long : duration;
}

bool Requests::run(BDBRequest& request)
{
    const Handler* const handler = findHandler(request);
    if (!request.parsedBody.parse(request.body, handler != nullptr ? handler->items : Json::MemberPath()))
        return false;
    dispatch(request);
    return true;
}

void Requests::dispatch(BDBRequest& request)
{
    const Handler* const handler = findHandler(request);
    if (handler == nullptr) {
        LOG_ERROR(LogOrigin::Request, 120) << "Unknown request opcode is " << request.operation;
        request.status = StatusInternalError;
        return;
    }
    // A client that reads its reply slowly must not keep the environment from being deleted.
    const auto leave = qScopeGuard([&] { request.environment = request.table.leave(); });
    request.status = handler->run(request);
    if (request.trace && request.trace->table.isEmpty())
        request.trace->table = firstTableOf(request);
}

QString Requests::operationName(std::size_t number)
{
    const std::string_view name = number < std::size(Handlers) ? Handlers[number].operation.name : "Unknown";
    return QString::fromLatin1(name.data(), static_cast<qsizetype>(name.size()));
}
