#include "request/batchwrite.h"

#include "log/log.h"
#include "records/encoding.h"
#include "records/itemplace.h"
#include "records/lists.h"
#include "records/recordops.h"
#include "records/requeststatus.h"
#include "records/schema.h"
#include "request/bdbrequest.h"
#include "request/requestkeys.h"
#include "storage/bdbregistry.h"
#include "storage/bdbtxn.h"
#include "storage/deadlockretry.h"
#include "storage/environmentpath.h"

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

/** A write that is ready for the transaction. */
struct BatchWrite {
    QByteArray tableName;
    BDBIndex* db; // owned by the environment
    QByteArray key;
    std::optional<QByteArray> item; // its JSON; unset: the record is deleted
};

/** The writes of a batch, and where the walk over its tables ends if all of them succeed. */
struct BatchPlan {
    std::vector<BatchWrite> writes;
    QByteArray lastTable;         // the last TableName that is examined
    QVariantMap foreign;          // from the first table of another environment on
    int failure = 0;              // what ends the walk early, after the writes
    std::function<void()> report; // logs what ends it; not reached by an attempt whose writes fail
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

int planPutItem(TableContext& table, const QByteArray& tableName, const QVariantMap& put, SeenKeys* seen,
                BatchPlan* plan)
{
    if (hasConditions(put))
        return refuse(plan, "condition check failed", __LINE__);
    ItemPlace place;
    QByteArray stored;
    if (const int rc = Records::takePlace(table, tableName, put.value(u"Item"_s), &place, &stored))
        return rc;
    if (const int rc = addSeen(place.key, seen, plan))
        return rc;
    plan->writes.push_back({tableName, place.db, place.key, std::move(stored)});
    return StatusSuccess;
}

int planDeleteItem(TableContext& table, const QByteArray& tableName, const QVariantMap& deletion, SeenKeys* seen,
                   BatchPlan* plan)
{
    if (hasConditions(deletion))
        return refuse(plan, "condition check failed", __LINE__);
    ItemPlace place;
    if (const int rc = Requests::readElementKeys(deletion.value(u"Key"_s).toMap(), &place.hashKey, &place.rangeKey))
        return rc;
    if (const int rc = Records::findPlace(table, tableName, &place))
        return rc;
    if (const int rc = addSeen(place.key, seen, plan))
        return rc;
    plan->writes.push_back({tableName, place.db, place.key, std::nullopt});
    return StatusSuccess;
}

/** Plans one table's list in order, up to the first failure. Kept: an entry of neither kind is skipped. */
int planTable(TableContext& table, const QByteArray& tableName, const QVariantList& entries, BatchPlan* plan)
{
    QVariantMap description;
    if (const int rc = Records::loadSchema(table, tableName, &description, false)) {
        if (rc == StatusTakesLong)
            return rc;
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
            rc = planPutItem(table, tableName, put->toMap(), &seen, plan);
        else if (const auto del = write.constFind(u"DeleteRequest"_s); del != write.constEnd())
            rc = planDeleteItem(table, tableName, del->toMap(), &seen, plan);
        if (rc != 0)
            return rc;
    }
    return StatusSuccess;
}

/**
 * Plans the tables in order, up to the first failure or the first table outside of the batch's environment,
 * `batchPath`.
 * Kept: directories are compared as spelled.
 */
int planBatch(TableContext& context, const QVariantMap& tables, const QByteArray& batchPath, BatchPlan* plan)
{
    for (auto table = tables.constBegin(); table != tables.constEnd(); ++table) {
        plan->lastTable = table.key().toUtf8();
        const QByteArray path = EnvironmentPath::ofTable(plan->lastTable);
        if (path != batchPath) {
            plan->report = [path, batchPath] {
                LOG_ERROR(LogOrigin, __LINE__) << "paths ain't same newpath " << path << " envDup " << batchPath;
            };
            for (; table != tables.constEnd(); ++table)
                plan->foreign.insert(table.key(), table.value());
            break; // the tables before it are written
        }
        if (const int rc = planTable(context, plan->lastTable, Records::listOf(table.value()), plan))
            return rc;
    }
    return StatusSuccess;
}

/**
 * A batch: all its tables in one transaction, which is retried after a deadlock.
 *
 * Schemas are read and databases opened before the transaction begins: both wait for page locks, each in a transaction
 * of its own. Waiting for a page that the batch has locked would hang forever, since Berkeley DB does not know that
 * both transactions run on the same thread. Nor could the transaction name the databases that it writes to. The layers
 * below log problems with a table or a key at that point, once; the batch's own lines and its outcome are those of a
 * walk that writes as it goes.
 */
class Batch {
public:
    /** `context` has opened the environment of `firstTable`. */
    Batch(TableContext& context, const QVariantMap& tables, const QByteArray& firstTable)
        : context_(context), tables_(tables), lastTable_(firstTable)
    {}

    /** One attempt. DB_LOCK_DEADLOCK: retry. */
    int run()
    {
        if (!plan_) {
            plan_.emplace();
            plan_->failure = planBatch(context_, tables_, EnvironmentPath::ofTable(lastTable_), &*plan_);
            if (plan_->failure == StatusTakesLong)
                return plan_->failure;
            for (const BatchWrite& write : plan_->writes)
                databases_.push_back(write.db);
        }
        BDBTxn txn;
        if (const int rc = txn.beginWriting(context_.transactions(), databases_)) {
            unprocessed_.clear();
            return rc;
        }
        int rc = writePlanned(&txn);
        if (rc == 0)
            rc = endWalk();
        if (rc != 0) {
            unprocessed_ = tables_;
            return rc;
        }
        unprocessed_ = plan_->foreign;
        return txn.finish(0);
    }

    const QByteArray& lastTable() const { return lastTable_; }
    const QVariantMap& unprocessed() const { return unprocessed_; }

    /** After an attempt. */
    const std::vector<BatchWrite>& writes() const { return plan_->writes; }

private:
    /** The writes up to the first failure; lastTable_ is then its table. */
    int writePlanned(BDBTxn* txn)
    {
        for (const BatchWrite& write : plan_->writes) {
            lastTable_ = write.tableName;
            const int rc = write.item ? Records::putDb(write.db, write.key, *write.item, nullptr, nullptr, txn)
                                      : Records::deleteDb(write.db, write.key, nullptr, nullptr, txn);
            if (rc != 0)
                return rc;
        }
        return StatusSuccess;
    }

    /** After the writes: the failure that ends the walk, or 0. */
    int endWalk()
    {
        lastTable_ = plan_->lastTable;
        if (plan_->report)
            plan_->report();
        return plan_->failure;
    }

    TableContext& context_;
    const QVariantMap& tables_;
    std::optional<BatchPlan> plan_;
    std::vector<BDBIndex*> databases_; // of the planned writes, with repetitions
    QByteArray lastTable_;             // the last TableName that an attempt examined; initially the first one
    QVariantMap unprocessed_;          // of the final attempt
};

/** For the report of a slow request. */
void noteWrites(const std::vector<BatchWrite>& writes, bool succeeded, BDBRequest& request)
{
    QByteArrayView hash;
    QByteArrayView range;
    if (request.trace && !writes.empty() && Records::decodeRecordKey(writes.front().key, &hash, &range))
        request.noteKeys(hash.toByteArray(), range.toByteArray());
    request.noteItems(succeeded ? static_cast<int>(writes.size()) : 0);
}

} // namespace

int Requests::batchWriteItem(BDBRequest& request)
{
    const QVariantMap tables = request.parsedBody.value(u"RequestItems"_s).toMap();
    if (tables.isEmpty()) {
        LOG_ERROR(LogOrigin, __LINE__) << "empty request";
        return StatusInvalidRequest;
    }
    const QByteArray firstTable = tables.firstKey().toUtf8();
    TableContext& context = request.table;
    if (const int rc = context.openTable(firstTable))
        return rc;

    Batch batch(context, tables, firstTable);
    const int rc = Deadlocks::retry([&] { return batch.run(); },
                                    [](int backoff) { LOG_WARN << "WriteBatchItem Got deadlock retry " << backoff; },
                                    Deadlocks::Warning::FromFourth);

    noteWrites(batch.writes(), rc == 0, request);

    // Kept: releases the access lock of the environment of the last TableName that was examined. If that is another
    // environment, this thread does not hold its lock, and the hold on the first table's environment is never released.
    if (EnvironmentPath::ofTable(batch.lastTable()) != EnvironmentPath::ofTable(firstTable)) {
        context.dismissAccess();
        Registry::unlockEnv(context.registry(), batch.lastTable());
    }
    if (!batch.unprocessed().isEmpty())
        request.reply.insert(u"UnprocessedItems"_s, batch.unprocessed());
    request.failedReply = request.reply;
    return rc;
}
