#include "request/commit.h"

#include "log/log.h"
#include "records/recordops.h"
#include "records/requeststatus.h"
#include "request/bdbrequest.h"
#include "request/commitplan.h"
#include "storage/bdbtxn.h"
#include "storage/deadlockretry.h"
#include "json/jsontext.h"

#include <optional>
#include <utility>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

/** The transaction of a Commit, which is retried after a deadlock. */
class Commit {
public:
    /** `entries` have been opened in the context's environment. */
    Commit(TableContext& context, const std::vector<CommitEntry>& entries) : context_(context), entries_(entries)
    {
        databases_.reserve(entries.size());
        for (const CommitEntry& entry : entries)
            databases_.push_back(entry.place.db);
    }

    /** One attempt. DB_LOCK_DEADLOCK: retry. StatusConditionFailed: there are mismatches, and nothing is written. */
    int run()
    {
        mismatches_.clear();
        BDBTxn txn;
        if (const int rc = txn.beginWriting(context_.transactions(), databases_))
            return rc;
        int rc = compareAll(&txn);
        if (rc == 0 && !mismatches_.isEmpty())
            rc = StatusConditionFailed;
        if (rc == 0)
            rc = writeAll(&txn);
        return txn.finish(rc);
    }

    /** Of the last attempt: for each entry whose expectation did not hold, its number and the stored item, if any. */
    const QVariantList& mismatches() const { return mismatches_; }

private:
    int compareAll(BDBTxn* txn)
    {
        for (std::size_t i = 0; i < entries_.size(); ++i) {
            if (entries_[i].expectation == CommitExpectation::Anything)
                continue;
            if (const int rc = compare(i, txn))
                return rc;
        }
        return 0;
    }

    int compare(std::size_t number, BDBTxn* txn)
    {
        const CommitEntry& entry = entries_[number];
        std::optional<QByteArray> item;
        if (const int rc = Records::getForUpdate(entry.place.db, entry.place.key, &item, txn))
            return rc;
        const bool holds = entry.expectation == CommitExpectation::Item ? item == entry.expected : !item;
        if (holds)
            return 0;
        QVariantMap mismatch{{"Entry", qlonglong(number)}};
        if (item)
            mismatch.insert(u"Item"_s, QVariant::fromValue(Json::RawText{std::move(*item)}));
        mismatches_.append(mismatch);
        return 0;
    }

    int writeAll(BDBTxn* txn)
    {
        for (const CommitEntry& entry : entries_) {
            int rc = 0;
            if (entry.action == CommitAction::Put)
                rc = Records::putDb(entry.place.db, entry.place.key, entry.stored, nullptr, nullptr, txn);
            else if (entry.action == CommitAction::Delete)
                rc = Records::deleteDb(entry.place.db, entry.place.key, nullptr, nullptr, txn);
            if (rc != 0)
                return rc;
        }
        return 0;
    }

    TableContext& context_;
    const std::vector<CommitEntry>& entries_;
    std::vector<BDBIndex*> databases_; // of all entries, with repetitions
    QVariantList mismatches_;
};

int refuse(BDBRequest& request, const CommitRefusal& refusal)
{
    request.message = refusal.message;
    return refusal.status;
}

/** For the report of a slow request. */
void noteFirst(BDBRequest& request, const std::vector<CommitEntry>& entries)
{
    if (!request.trace)
        return;
    const CommitEntry& first = entries.front();
    request.trace->table = first.tableName;
    request.noteKeys(first.place.hashKey, first.place.rangeKey);
}

} // namespace

int Requests::commit(BDBRequest& request)
{
    std::vector<CommitEntry> entries;
    if (const auto refusal = readCommit(request.parsedBody, &entries))
        return refuse(request, *refusal);
    noteFirst(request, entries);
    if (const auto refusal = openCommit(request.table, &entries))
        return refuse(request, *refusal);
    Commit commit(request.table, entries);
    const int rc = Deadlocks::retry([&] { return commit.run(); },
                                    [](int backoff) { LOG_WARN << "commit Got deadlock : retry " << backoff; });
    if (rc == StatusSuccess)
        request.noteItems(static_cast<int>(entries.size()));
    if (rc == StatusConditionFailed)
        request.reply.insert(u"Mismatches"_s, commit.mismatches());
    return rc;
}
