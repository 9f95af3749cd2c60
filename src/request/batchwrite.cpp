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

#include <optional>
#include <utility>
#include <vector>

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

/** A write that needs nothing any more but the transaction. */
struct BatchWrite {
    BDBIndex* db; // owned by the environment
    QByteArray key;
    std::optional<QVariantMap> item; // nothing: the record is deleted
};

/** What a batch comes to, and how far the walk over its tables went. */
struct BatchPlan {
    std::vector<BatchWrite> writes;
    QByteArray lastTable; // the last TableName that was looked at
    QVariantMap foreign;  // from the first table of another environment on
    int failure = 0;      // what ended the walk early, behind the writes
};

int planPutItem(BDBRequest& request, const QByteArray& tableName, const QVariantMap& put, SeenKeys* seen,
                BatchPlan* plan)
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
    plan->writes.push_back({db, key, std::move(item)});
    return StatusSuccess;
}

int planDeleteItem(BDBRequest& request, const QByteArray& tableName, const QVariantMap& deletion, SeenKeys* seen,
                   BatchPlan* plan)
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
    plan->writes.push_back({db, key, std::nullopt});
    return StatusSuccess;
}

/** Plans one table's list in order; the first failure ends it. Kept: an entry of neither kind is skipped. */
int planTable(BDBRequest& request, const QByteArray& tableName, const QVariantList& entries, BatchPlan* plan)
{
    QVariantMap description;
    if (const int rc = loadSchema(request, tableName, &description, false)) {
        LOG_ERROR(LogOrigin, __LINE__) << "batchWriteItem schema load failed: " << tableName;
        return rc;
    }
    SeenKeys seen;
    for (const QVariant& entry : entries) {
        const QVariantMap write = entry.toMap();
        int rc = StatusSuccess;
        if (const auto put = write.constFind(u"PutRequest"_s); put != write.constEnd())
            rc = planPutItem(request, tableName, put->toMap(), &seen, plan);
        else if (const auto del = write.constFind(u"DeleteRequest"_s); del != write.constEnd())
            rc = planDeleteItem(request, tableName, del->toMap(), &seen, plan);
        if (rc != 0)
            return rc;
    }
    return StatusSuccess;
}

/** Plans the tables in order, up to the first of another environment; the first failure ends it. */
int planBatch(BDBRequest& request, const QVariantMap& tables, QByteArray* batchPath, BatchPlan* plan)
{
    for (auto table = tables.constBegin(); table != tables.constEnd(); ++table) {
        plan->lastTable = table.key().toUtf8();
        if (envDup(batchPath, plan->lastTable) != 0) {
            for (; table != tables.constEnd(); ++table)
                plan->foreign.insert(table.key(), table.value());
            break; // what stands in front of it is written
        }
        if (const int rc = planTable(request, plan->lastTable, listOf(table.value()), plan))
            return rc;
    }
    return StatusSuccess;
}

int writePlanned(const BatchPlan& plan, BDBTxn* txn)
{
    for (const BatchWrite& write : plan.writes) {
        QVariantMap item = write.item.value_or(QVariantMap());
        const int rc = write.item ? putDb(write.db, write.key, &item, nullptr, false, txn)
                                  : deleteDb(write.db, write.key, nullptr, nullptr, txn);
        if (rc != 0)
            return rc;
    }
    return StatusSuccess;
}

/**
 * A batch: all its tables in one transaction, which is repeated after a deadlock.
 *
 * Schemas are read and databases opened before the transaction's first write: both wait for pages, each in a
 * transaction of its own. One that waited for a page which the batch holds would wait for good, since Berkeley DB
 * cannot see that the thread of the one is that of the other.
 */
class Batch {
public:
    Batch(BDBRequest& request, const QVariantMap& tables, const QByteArray& firstTable)
        : request_(request), tables_(tables), lastTable_(firstTable)
    {
        (void)envDup(&path_, firstTable); // fixes the path
    }

    /** One attempt. DB_LOCK_DEADLOCK: to be repeated. */
    int run()
    {
        BDBTxn txn; // holds no page before the first write
        if (const int rc = txn.begin(request_.environment.env(), 0)) {
            unprocessed_.clear();
            return rc;
        }
        if (!plan_) {
            plan_.emplace();
            plan_->failure = planBatch(request_, tables_, &path_, &*plan_);
            lastTable_ = plan_->lastTable;
        }
        int rc = writePlanned(*plan_, &txn);
        if (rc == 0)
            rc = plan_->failure; // of two failures the one that comes first in the batch is told
        if (rc != 0) {
            unprocessed_ = tables_;
            return rc;
        }
        unprocessed_ = plan_->foreign;
        return txn.commit(Settings::txnCommitFlags());
    }

    const QByteArray& lastTable() const { return lastTable_; }
    const QVariantMap& unprocessed() const { return unprocessed_; }

private:
    BDBRequest& request_;
    const QVariantMap& tables_;
    QByteArray path_;
    std::optional<BatchPlan> plan_;
    QByteArray lastTable_;
    QVariantMap unprocessed_; // after the attempt that is not repeated
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
    EnvAccess access;
    if (const int rc = openTable(request, firstTable, &access))
        return rc;

    Batch batch(request, tables, firstTable);
    const int rc = retryOnDeadlock([&] { return batch.run(); },
                                   [](int backoff) { LOG_WARN << "WriteBatchItem Got deadlock retry " << backoff; },
                                   DeadlockWarning::FromFourth);

    // Kept: the release goes to the environment of the last TableName that was looked at. After a table of another
    // environment that is not the one we hold, and the first table's environment keeps this hold for good.
    if (environmentDirectory(batch.lastTable()) != environmentDirectory(firstTable)) {
        access.dismiss();
        unlockEnv(request.registry, batch.lastTable());
    }
    if (!batch.unprocessed().isEmpty())
        request.reply.insert(u"UnprocessedItems"_s, batch.unprocessed());
    return rc;
}
