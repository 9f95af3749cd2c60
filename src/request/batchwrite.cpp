#include "request/batchwrite.h"

#include "log/log.h"
#include "records/encoding.h"
#include "records/recordops.h"
#include "records/requeststatus.h"
#include "request/batchplan.h"
#include "request/bdbrequest.h"
#include "storage/bdbregistry.h"
#include "storage/bdbtxn.h"
#include "storage/deadlockretry.h"
#include "storage/environmentpath.h"

#include <optional>
#include <utility>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

/**
 * A batch: all its tables in one transaction, which is retried after a deadlock.
 *
 * Schemas are read and databases opened before the transaction begins: both wait for page locks, each in its own
 * transaction. Waiting for a page that the batch has locked would hang forever, since Berkeley DB does not know that
 * both transactions run on the same thread. Nor could the transaction name the databases that it writes to. The layers
 * below log problems with a table or a key at that point, once; the batch's own lines and its outcome are those of an
 * iteration that writes as it goes.
 */
class Batch {
public:
    /** `context` has opened the environment of `firstTable`. */
    Batch(TableContext& context, const QVariantMap& tables, QByteArray firstTable)
        : context_(context), tables_(tables), lastTable_(std::move(firstTable))
    {}

    /** One attempt. DB_LOCK_DEADLOCK: retry. */
    int run()
    {
        if (!plan_) {
            plan_.emplace();
            plan_->failure = Requests::planBatch(context_, tables_, EnvironmentPath::ofTable(lastTable_), &*plan_);
            if (plan_->failure == StatusTakesLong)
                return plan_->failure;
            for (const Requests::BatchWrite& write : plan_->writes)
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
    const std::vector<Requests::BatchWrite>& writes() const { return plan_->writes; }

private:
    /** The writes up to the first failure; lastTable_ is then its table. */
    int writePlanned(BDBTxn* txn)
    {
        for (const Requests::BatchWrite& write : plan_->writes) {
            lastTable_ = write.tableName;
            const int rc = write.item ? Records::putDb(write.db, write.key, *write.item, nullptr, nullptr, txn)
                                      : Records::deleteDb(write.db, write.key, nullptr, nullptr, txn);
            if (rc != 0)
                return rc;
        }
        return StatusSuccess;
    }

    /** After the writes: the failure that ends the iteration, or 0. */
    int endWalk()
    {
        lastTable_ = plan_->lastTable;
        if (plan_->report)
            plan_->report();
        return plan_->failure;
    }

    TableContext& context_;
    const QVariantMap& tables_;
    std::optional<Requests::BatchPlan> plan_;
    std::vector<BDBIndex*> databases_; // of the planned writes, with repetitions
    QByteArray lastTable_;             // the last TableName that an attempt examined; initially the first one
    QVariantMap unprocessed_;          // of the final attempt
};

/** For the report of a slow request. */
void noteWrites(const std::vector<Requests::BatchWrite>& writes, bool succeeded, BDBRequest& request)
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
    const QVariantMap tables = request.parsedBody.value("RequestItems"_L1).toMap();
    if (tables.isEmpty()) {
        LOG_ERROR(LogOrigin::Request, __LINE__) << "empty request";
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
