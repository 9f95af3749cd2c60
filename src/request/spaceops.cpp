#include "request/spaceops.h"

#include "format/tablename.h"
#include "log/log.h"
#include "protocol/administration.h"
#include "records/encoding.h"
#include "records/requeststatus.h"
#include "request/bdbrequest.h"
#include "storage/bdbenv.h"
#include "storage/environmentpath.h"
#include "storage/tablecompaction.h"
#include "storage/tablefiles.h"
#include "storage/tableremoval.h"

#include <cstdint>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

int refuse(BDBRequest& request, const QString& message)
{
    request.message = message;
    return StatusInvalidRequest;
}

/**
 * Opens the request's table. StatusInvalidRequest if no table can have that name; StatusNotFound if it has no file.
 * Does not open a directory without a file of the table.
 */
int openExisting(BDBRequest& request, const QByteArray& tableName)
{
    if (tableName.isEmpty())
        return refuse(request, u"The parameter \"TableName\" is missing."_s);
    const QByteArray file = Records::filePart(tableName);
    if (const char* const reason = TableNames::refusal({file.cbegin(), file.cend()}))
        return refuse(request, u"No table can be called \"%1\": %2."_s.arg(QString::fromUtf8(tableName), reason));
    TableContext& table = request.table;
    if (!table.joinIfOpen(tableName)) {
        const QByteArray directory = EnvironmentPath::ofTable(tableName);
        if (directory.contains('\0') || !TableFiles::existUnopened(directory.toStdString(), file))
            return StatusNotFound;
    }
    return table.openTable(tableName);
}

int remove(BDBRequest& request, TableRemoval::Part part, const char* operation)
{
    const QByteArray tableName = request.tableName();
    if (const int rc = openExisting(request, tableName))
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
        LOG_ERROR(LogOrigin::Request, __LINE__) << operation << " failed for " << tableName << " rc " << rc;
        return rc;
    }
    LOG_INFO << operation << " " << tableName << " files " << removed.files << " bytes " << removed.bytes << " items "
             << removed.items;
    request.reply.insert(SpaceNames::Removed, QVariantMap{{SpaceNames::Files, removed.files},
                                                          {SpaceNames::Bytes, static_cast<qulonglong>(removed.bytes)},
                                                          {SpaceNames::Items, removed.items}});
    return StatusSuccess;
}

/** The size of one of the table's files before it is compacted. StatusNotFound if the table has none at all. */
int sizeOf(BDBEnv* env, const QByteArray& tableName, const QByteArray& file, std::uint64_t* bytes)
{
    const int rc = TableFiles::size(env, file, bytes);
    if (rc != 0 || *bytes != 0)
        return rc;
    std::vector<TableFiles::File> files;
    const int found = TableFiles::find(env, Records::filePart(tableName), true, &files);
    return found == 0 && files.empty() ? StatusNotFound : found;
}

/** Reads the number of a data file. */
bool readPartition(const QVariant& value, unsigned* partition)
{
    const int type = value.typeId();
    const qlonglong number = value.toLongLong();
    *partition = static_cast<unsigned>(number);
    return (type == QMetaType::LongLong || type == QMetaType::ULongLong) && number >= 0 &&
           number < qlonglong{PartitionCount};
}

/** Reads bytes in hexadecimal digits; none if `value` is missing. */
bool readHex(const QVariant& value, QByteArray* bytes)
{
    const QByteArray digits = value.toString().toLatin1();
    *bytes = QByteArray::fromHex(digits);
    return !value.isValid() || (value.typeId() == QMetaType::QString && bytes->toHex() == digits.toLower());
}

/** The parameters of a CompactTable. */
int readCompaction(BDBRequest& request, unsigned* partition, QByteArray* start)
{
    if (!readPartition(request.parsedBody.value(QLatin1StringView(SpaceNames::Partition)), partition))
        return refuse(request,
                      u"\"Partition\" must be a whole number from 0 to %1."_s.arg(unsigned{PartitionCount} - 1));
    const QLatin1StringView startKey(SpaceNames::StartKey);
    const QVariant key = request.parsedBody.value(startKey);
    if (!readHex(key, start) || (!key.isValid() && request.parsedBody.contains(startKey)))
        return refuse(request, u"\"StartKey\" must be the \"NextKey\" of a reply, in hexadecimal digits."_s);
    return StatusSuccess;
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
    unsigned partition = 0;
    TableCompaction::Progress progress;
    if (const int rc = readCompaction(request, &partition, &progress.next))
        return rc;
    if (const int rc = openExisting(request, tableName))
        return rc;
    TableContext& table = request.table;
    if (const int rc = table.keepFiles(tableName))
        return rc;
    const QByteArray file = Records::filePart(Records::dataFileName(tableName, partition));
    std::uint64_t before = 0;
    if (const int rc = sizeOf(table.env(), tableName, file, &before))
        return rc;
    std::uint64_t after = before;
    if (before != 0) {
        BDBIndex* database = nullptr;
        if (const int rc = table.openPartition(tableName, partition, &database))
            return rc;
        if (const int rc = TableCompaction::run(table.transactions(), database, &progress)) {
            LOG_ERROR(LogOrigin::Request, __LINE__) << "compactTable failed for " << file << " rc " << rc;
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
