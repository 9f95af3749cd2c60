#include "request/batchwrite.h"

#include "log/log.h"
#include "records/encoding.h"
#include "records/lists.h"
#include "records/lookup.h"
#include "records/recordops.h"
#include "records/schema.h"
#include "request/opentable.h"
#include "request/requestkeys.h"
#include "storage/bdbenv.h"
#include "storage/bdbregistry.h"
#include "storage/bdbtxn.h"
#include "storage/deadlockretry.h"
#include "storage/environmentpath.h"
#include "storage/settings.h"

#include <QSet>

using namespace Qt::StringLiterals;

namespace {

constexpr const char* LogOrigin = "bdbrequest";

using SeenKeys = QSet<QByteArray>;

int refuse(const char* text, int line)
{
    LOG_ERROR(LogOrigin, line) << text;
    return StatusConditionFailed;
}

/** Batch writes take no conditions and return nothing. */
bool hasConditions(const QVariantMap& entry)
{
    return entry.contains(u"ReturnValues"_s) || entry.contains(u"Expected"_s);
}

/**
 * 0 when the table belongs to the batch's environment, which the first table fixes; 1 with a line when it does not.
 * Kept: directories are compared as they are spelled.
 */
int envDup(QByteArray* batchPath, const QByteArray& tableName)
{
    const QByteArray path = environmentDirectory(tableName);
    if (batchPath->isEmpty())
        *batchPath = path;
    if (path == *batchPath)
        return 0;
    LOG_ERROR(LogOrigin, __LINE__) << "paths ain't same newpath " << path << " envDup " << *batchPath;
    return 1;
}

/** Refuses a second write to one item within one table's list. */
int addSeen(const QByteArray& key, SeenKeys* seen)
{
    if (seen->contains(key))
        return refuse("Duplicate entries are present", __LINE__);
    seen->insert(key);
    return StatusSuccess;
}

int batchPutItem(BDBRequest& request, const QByteArray& tableName, const QVariantMap& put, BDBTxn* txn, SeenKeys* seen)
{
    if (hasConditions(put))
        return refuse("condition check failed", __LINE__);
    QVariantMap item = put.value(u"Item"_s).toMap();
    QByteArray hashKey;
    QByteArray rangeKey;
    if (const int rc = extractKeys(request, &item, &hashKey, &rangeKey))
        return rc;
    BDBIndex* db = nullptr;
    if (const int rc = openPartition(request, tableName, hashKey, &db))
        return rc;
    const QByteArray key = recordKey(hashKey, rangeKey);
    if (const int rc = addSeen(key, seen))
        return rc;
    return putDb(db, key, &item, nullptr, false, txn);
}

int batchDeleteItem(BDBRequest& request, const QByteArray& tableName, const QVariantMap& deletion, BDBTxn* txn,
                    SeenKeys* seen)
{
    if (hasConditions(deletion))
        return refuse("condition check failed", __LINE__);
    QByteArray hashKey;
    QByteArray rangeKey;
    if (const int rc = readElementKeys(deletion.value(u"Key"_s).toMap(), &hashKey, &rangeKey))
        return rc;
    BDBIndex* db = nullptr;
    if (const int rc = openPartition(request, tableName, hashKey, &db))
        return rc;
    const QByteArray key = recordKey(hashKey, rangeKey);
    if (const int rc = addSeen(key, seen))
        return rc;
    return deleteDb(db, key, nullptr, nullptr, txn);
}

/**
 * Applies one table's list in order; the first result that is not 0 ends it. Kept: an entry of neither kind is skipped.
 */
int writeTableRequests(BDBRequest& request, const QByteArray& tableName, const QVariantList& entries, BDBTxn* txn)
{
    SeenKeys seen;
    for (const QVariant& entry : entries) {
        const QVariantMap write = entry.toMap();
        int rc = StatusSuccess;
        if (const auto put = write.constFind(u"PutRequest"_s); put != write.constEnd())
            rc = batchPutItem(request, tableName, put->toMap(), txn, &seen);
        else if (const auto del = write.constFind(u"DeleteRequest"_s); del != write.constEnd())
            rc = batchDeleteItem(request, tableName, del->toMap(), txn, &seen);
        if (rc != 0)
            return rc;
    }
    return StatusSuccess;
}

/** One attempt at a batch: all its tables in one transaction. */
struct BatchAttempt {
    QByteArray lastTable; // the last TableName that was looked at
    QVariantMap unprocessed;

    int run(BDBRequest& request, const QVariantMap& tables, QByteArray* batchPath)
    {
        BDBTxn txn;
        if (const int rc = txn.begin(request.environment.env(), 0))
            return rc;
        for (auto table = tables.constBegin(); table != tables.constEnd(); ++table) {
            lastTable = table.key().toUtf8();
            if (envDup(batchPath, lastTable) != 0) {
                for (; table != tables.constEnd(); ++table)
                    unprocessed.insert(table.key(), table.value());
                break; // what was written so far stands
            }
            if (const int rc = writeTable(request, listOf(table.value()), &txn)) {
                if (rc != DB_LOCK_DEADLOCK)
                    unprocessed = tables;
                return rc;
            }
        }
        return txn.commit(Settings::txnCommitFlags());
    }

private:
    int writeTable(BDBRequest& request, const QVariantList& entries, BDBTxn* txn) const
    {
        QVariantMap description;
        if (const int rc = loadSchema(request, lastTable, &description, false)) {
            LOG_ERROR(LogOrigin, __LINE__) << "batchWriteItem schema load failed: " << lastTable;
            return rc;
        }
        return writeTableRequests(request, lastTable, entries, txn);
    }
};

} // namespace

int batchWriteItem(BDBRequest& request)
{
    const QVariantMap tables = request.parsedBody.value(u"RequestItems"_s).toMap();
    if (tables.isEmpty()) {
        LOG_ERROR(LogOrigin, __LINE__) << "empty request";
        return StatusInvalidRequest;
    }
    const QByteArray firstTable = tables.firstKey().toUtf8();
    QByteArray batchPath;
    (void)envDup(&batchPath, firstTable); // fixes the path
    EnvAccess access;
    if (const int rc = openTable(request, firstTable, &access))
        return rc;

    BatchAttempt attempt;
    const int rc = retryOnDeadlock(
        [&] {
            attempt = BatchAttempt{firstTable, {}};
            return attempt.run(request, tables, &batchPath);
        },
        [](int backoff) { LOG_WARN << "WriteBatchItem Got deadlock retry " << backoff; }, DeadlockWarning::FromFourth);

    // Kept: the release goes to the environment of the last TableName that was looked at. After a table of another
    // environment that is not the one we hold, and the first table's environment keeps this hold for good.
    if (environmentDirectory(attempt.lastTable) != environmentDirectory(firstTable)) {
        access.dismiss();
        unlockEnv(request.registry, attempt.lastTable);
    }
    if (!attempt.unprocessed.isEmpty())
        request.reply.insert(u"UnprocessedItems"_s, attempt.unprocessed);
    return rc;
}
