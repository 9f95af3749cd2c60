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

#include <functional>
#include <optional>
#include <utility>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

constexpr const char* LogOrigin = "bdbrequest";

using SeenKeys = QSet<QByteArray>;

/** Batch writes take no conditions and return nothing. */
bool hasConditions(const QVariantMap& entry)
{
    return entry.contains(u"ReturnValues"_s) || entry.contains(u"Expected"_s);
}

/** A write that needs nothing any more but the transaction. */
struct BatchWrite {
    QByteArray tableName;
    BDBIndex* db; // owned by the environment
    QByteArray key;
    std::optional<QVariantMap> item; // nothing: the record is deleted
};

/** What a batch comes to, and how far the walk over its tables goes when all writes in front of its end succeed. */
struct BatchPlan {
    std::vector<BatchWrite> writes;
    QByteArray lastTable;         // the last TableName that is looked at
    QVariantMap foreign;          // from the first table of another environment on
    int failure = 0;              // what ends the walk early, behind the writes
    std::function<void()> report; // the line about what ends it; an attempt whose writes fail does not come so far
};

int refuse(BatchPlan* plan, const char* text, int line)
{
    plan->report = [text, line] { LOG_ERROR(LogOrigin, line) << text; };
    return StatusConditionFailed;
}

/** Refuses a second write to one item within one table's list. */
int addSeen(const QByteArray& key, SeenKeys* seen, BatchPlan* plan)
{
    if (seen->contains(key))
        return refuse(plan, "Duplicate entries are present", __LINE__);
    seen->insert(key);
    return StatusSuccess;
}

int planPutItem(BDBRequest& request, const QByteArray& tableName, const QVariantMap& put, SeenKeys* seen,
                BatchPlan* plan)
{
    if (hasConditions(put))
        return refuse(plan, "condition check failed", __LINE__);
    QVariantMap item = put.value(u"Item"_s).toMap();
    QByteArray hashKey;
    QByteArray rangeKey;
    if (const int rc = extractKeys(request, &item, &hashKey, &rangeKey))
        return rc;
    BDBIndex* db = nullptr;
    if (const int rc = openPartition(request, tableName, hashKey, &db))
        return rc;
    const QByteArray key = recordKey(hashKey, rangeKey);
    if (const int rc = addSeen(key, seen, plan))
        return rc;
    plan->writes.push_back({tableName, db, key, std::move(item)});
    return StatusSuccess;
}

int planDeleteItem(BDBRequest& request, const QByteArray& tableName, const QVariantMap& deletion, SeenKeys* seen,
                   BatchPlan* plan)
{
    if (hasConditions(deletion))
        return refuse(plan, "condition check failed", __LINE__);
    QByteArray hashKey;
    QByteArray rangeKey;
    if (const int rc = readElementKeys(deletion.value(u"Key"_s).toMap(), &hashKey, &rangeKey))
        return rc;
    BDBIndex* db = nullptr;
    if (const int rc = openPartition(request, tableName, hashKey, &db))
        return rc;
    const QByteArray key = recordKey(hashKey, rangeKey);
    if (const int rc = addSeen(key, seen, plan))
        return rc;
    plan->writes.push_back({tableName, db, key, std::nullopt});
    return StatusSuccess;
}

/** Plans one table's list in order; the first failure ends it. Kept: an entry of neither kind is skipped. */
int planTable(BDBRequest& request, const QByteArray& tableName, const QVariantList& entries, BatchPlan* plan)
{
    QVariantMap description;
    if (const int rc = loadSchema(request, tableName, &description, false)) {
        plan->report = [tableName] {
            LOG_ERROR(LogOrigin, __LINE__) << "batchWriteItem schema load failed: " << tableName;
        };
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

/**
 * Plans the tables in order, up to the first that does not belong to the batch's environment, in `batchPath`; the first
 * failure ends it.
 * Kept: directories are compared as they are spelled.
 */
int planBatch(BDBRequest& request, const QVariantMap& tables, const QByteArray& batchPath, BatchPlan* plan)
{
    for (auto table = tables.constBegin(); table != tables.constEnd(); ++table) {
        plan->lastTable = table.key().toUtf8();
        const QByteArray path = environmentDirectory(plan->lastTable);
        if (path != batchPath) {
            plan->report = [path, batchPath] {
                LOG_ERROR(LogOrigin, __LINE__) << "paths ain't same newpath " << path << " envDup " << batchPath;
            };
            for (; table != tables.constEnd(); ++table)
                plan->foreign.insert(table.key(), table.value());
            break; // what stands in front of it is written
        }
        if (const int rc = planTable(request, plan->lastTable, listOf(table.value()), plan))
            return rc;
    }
    return StatusSuccess;
}

/**
 * A batch: all its tables in one transaction, which is repeated after a deadlock.
 *
 * Schemas are read and databases opened before the transaction's first write: both wait for pages, each in a
 * transaction of its own. One that waited for a page which the batch holds would wait for good, since Berkeley DB
 * cannot see that the thread of the one is that of the other. What the layers below say about a table or a key is said
 * then, once; the batch's own lines and its outcome are those of a walk that writes as it goes.
 */
class Batch {
public:
    Batch(BDBRequest& request, const QVariantMap& tables, const QByteArray& firstTable)
        : request_(request), tables_(tables), lastTable_(firstTable)
    {}

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
            plan_->failure = planBatch(request_, tables_, environmentDirectory(lastTable_), &*plan_);
        }
        int rc = writePlanned(&txn);
        if (rc == 0)
            rc = endWalk();
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
    /** The writes up to the first failure, and not further than its table. */
    int writePlanned(BDBTxn* txn)
    {
        for (const BatchWrite& write : plan_->writes) {
            lastTable_ = write.tableName;
            QVariantMap item = write.item.value_or(QVariantMap());
            const int rc = write.item ? putDb(write.db, write.key, &item, nullptr, false, txn)
                                      : deleteDb(write.db, write.key, nullptr, nullptr, txn);
            if (rc != 0)
                return rc;
        }
        return StatusSuccess;
    }

    /** What comes behind the writes: the failure that ends the walk, or 0. */
    int endWalk()
    {
        lastTable_ = plan_->lastTable;
        if (plan_->report)
            plan_->report();
        return plan_->failure;
    }

    BDBRequest& request_;
    const QVariantMap& tables_;
    std::optional<BatchPlan> plan_;
    QByteArray lastTable_;    // the last TableName that an attempt looked at; the first one before it
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
        Registry::unlockEnv(request.registry, batch.lastTable());
    }
    if (!batch.unprocessed().isEmpty())
        request.reply.insert(u"UnprocessedItems"_s, batch.unprocessed());
    return rc;
}
