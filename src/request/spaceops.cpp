#include "request/spaceops.h"

#include "log/log.h"
#include "protocol/administration.h"
#include "records/encoding.h"
#include "records/requeststatus.h"
#include "request/bdbrequest.h"
#include "storage/bdbenv.h"
#include "storage/tablecompaction.h"
#include "storage/tablefiles.h"
#include "storage/tableremoval.h"

#include <cstdint>
#include <optional>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

constexpr const char* LogOrigin = "bdbrequest";

int remove(BDBRequest& request, TableRemoval::Part part, const char* operation)
{
    const QByteArray tableName = request.tableName();
    if (const int rc = request.table.openTable(tableName))
        return rc;
    BDBEnv* const env = request.table.env();
    const QByteArray file = Records::filePart(tableName);
    std::vector<TableFiles::File> files;
    if (const int rc = TableFiles::find(env, file, true, &files))
        return rc;
    if (files.empty())
        return StatusNotFound;
    TableRemoval::Removed removed;
    if (const int rc = TableRemoval::run(env, file, part, &removed)) {
        LOG_ERROR(LogOrigin, __LINE__) << operation << " failed for " << tableName << " rc " << rc;
        return rc;
    }
    LOG_INFO << operation << " " << tableName << " files " << removed.files << " bytes " << removed.bytes << " items "
             << removed.items;
    request.reply.insert(SpaceNames::Removed, QVariantMap{{SpaceNames::Files, removed.files},
                                                          {SpaceNames::Bytes, static_cast<qulonglong>(removed.bytes)},
                                                          {SpaceNames::Items, removed.items}});
    return StatusSuccess;
}

/** The number of a data file; none for anything else. */
std::optional<unsigned> partitionIn(const QVariant& value)
{
    bool isNumber = false;
    const qlonglong number = value.typeId() == QMetaType::QString ? -1 : value.toLongLong(&isNumber);
    if (!isNumber || number < 0 || number >= qlonglong{PartitionCount})
        return std::nullopt;
    return static_cast<unsigned>(number);
}

} // namespace

int Requests::dropTable(BDBRequest& request)
{
    return remove(request, TableRemoval::Everything, "dropTable");
}

int Requests::truncateTable(BDBRequest& request)
{
    return remove(request, TableRemoval::Items, "truncateTable");
}

int Requests::compactTable(BDBRequest& request)
{
    const QByteArray tableName = request.tableName();
    const auto partition = partitionIn(request.parsedBody.value(QLatin1StringView(SpaceNames::Partition)));
    if (!partition)
        return StatusInvalidRequest;
    TableContext& table = request.table;
    if (const int rc = table.openTable(tableName))
        return rc;
    if (const int rc = table.keepFiles(tableName))
        return rc;
    const QByteArray file = Records::filePart(Records::dataFileName(tableName, *partition));
    std::uint64_t before = 0;
    if (const int rc = TableFiles::size(table.env(), file, &before))
        return rc;
    std::uint64_t after = before;
    TableCompaction::Progress progress;
    progress.next =
        QByteArray::fromHex(request.parsedBody.value(QLatin1StringView(SpaceNames::StartKey)).toString().toLatin1());
    if (before != 0) {
        BDBIndex* database = nullptr;
        if (const int rc = table.openPartition(tableName, *partition, &database))
            return rc;
        if (const int rc = TableCompaction::run(table.transactions(), database, &progress)) {
            LOG_ERROR(LogOrigin, __LINE__) << "compactTable failed for " << file << " rc " << rc;
            return rc;
        }
        if (const int rc = TableFiles::size(table.env(), file, &after))
            return rc;
    }
    QVariantMap& reply = request.reply;
    reply.insert(SpaceNames::BytesBefore, static_cast<qulonglong>(before));
    reply.insert(SpaceNames::BytesAfter, static_cast<qulonglong>(after));
    reply.insert(SpaceNames::HasMoved, progress.hasMoved);
    reply.insert(SpaceNames::IsBusy, progress.isBusy);
    if (!progress.next.isEmpty())
        reply.insert(SpaceNames::NextKey, QString::fromLatin1(progress.next.toHex()));
    return StatusSuccess;
}
