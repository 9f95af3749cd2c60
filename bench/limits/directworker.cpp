#include "limits/directworker.h"

#include "limits/directrecords.h"
#include "limits/directtable.h"

#include "storage/bdbcursor.h"
#include "storage/bdbenv.h"
#include "storage/bdbindex.h"
#include "storage/bdbtxn.h"
#include "storage/deadlockretry.h"
#include "json/jsonwriter.h"

#include <algorithm>

namespace Bench {

namespace {

constexpr std::size_t KeyBytes = 4096;
constexpr std::size_t SpareDataBytes = 4096;

/** Memory that a read fills. */
Dbt dbtOf(std::vector<char>& memory)
{
    Dbt dbt;
    dbt.set_data(memory.data());
    dbt.set_ulen(static_cast<u_int32_t>(memory.size()));
    dbt.set_flags(DB_DBT_USERMEM);
    return dbt;
}

} // namespace

DirectWorker::DirectWorker(const DirectTable& table, Operation operation, const Workload& workload, std::uint64_t seed)
    : table_(table), operation_(operation), workload_(workload), value_(Json::serialize(workload.item())),
      random_(seed), keyMemory_(KeyBytes), dataMemory_(workload.itemBytes + SpareDataBytes)
{}

int DirectWorker::run()
{
    const unsigned item = chooseItem(operation_, workload_.items, random_);
    hasWritten_ = false;
    switch (operation_) {
    case Operation::Put:
        return put(item);
    case Operation::Get:
        return get(item);
    case Operation::Update:
        return update(item);
    case Operation::Mixed:
        return random_.below(2) == 0 ? get(item) : put(item);
    case Operation::Query:
        return query(item);
    case Operation::Scan:
        return scan(item);
    case Operation::Batch:
        return batch(item);
    }
    return -1;
}

template <typename Work> int DirectWorker::inTransaction(Work&& work)
{
    const auto attempt = [&] {
        BDBTxn txn;
        if (const int rc = txn.begin(table_.env(), 0))
            return rc;
        return txn.finish(work(&txn));
    };
    return Deadlocks::retry(attempt, [](int) {});
}

int DirectWorker::put(unsigned item)
{
    return inTransaction([&](BDBTxn* txn) { return putIn(txn, item); });
}

int DirectWorker::get(unsigned item)
{
    return inTransaction([&](BDBTxn* txn) { return getIn(txn, item, 0); });
}

int DirectWorker::update(unsigned item)
{
    return inTransaction([&](BDBTxn* txn) {
        const int rc = getIn(txn, item, DB_RMW);
        return rc == 0 ? putIn(txn, item) : rc;
    });
}

int DirectWorker::batch(unsigned first)
{
    return inTransaction([&](BDBTxn* txn) {
        int rc = 0;
        for (unsigned item = first; rc == 0 && item < first + ItemsPerBatch; ++item)
            rc = putIn(txn, item);
        return rc;
    });
}

int DirectWorker::putIn(BDBTxn* txn, unsigned item)
{
    hasWritten_ = true;
    const QByteArray recordKeyText = keyOf(item);
    Dbt key = dbtOf(recordKeyText);
    Dbt data = dbtOf(value_);
    return table_.partition(partitionOfItem(item))->put(txn, &key, &data, 0);
}

int DirectWorker::getIn(BDBTxn* txn, unsigned item, u_int32_t flags)
{
    const QByteArray recordKeyText = keyOf(item);
    Dbt key = dbtOf(recordKeyText);
    Dbt data = dbtOf(dataMemory_);
    return table_.partition(partitionOfItem(item))->get(txn, &key, &data, flags);
}

int DirectWorker::query(unsigned first)
{
    unsigned count = 0;
    const int rc = walk(table_.partition(partitionOfItem(first)), keyOf(first), ItemsPerHashKey, &count);
    return rc == 0 && count != ItemsPerHashKey ? DB_NOTFOUND : rc;
}

/** From after `start` through as many partitions as necessary. */
int DirectWorker::scan(unsigned start)
{
    const unsigned firstPartition = partitionOfItem(start);
    unsigned count = 0;
    for (unsigned partition = firstPartition; partition < PartitionCount && count < ItemsPerPage; ++partition) {
        const QByteArray startKey = partition == firstPartition ? keyOf(start) : QByteArray();
        if (const int rc = walk(table_.partition(partition), startKey, ItemsPerPage, &count))
            return rc;
    }
    return 0;
}

/** Reads records from `startKey` on, or all, until `count` has grown to `limit`. */
int DirectWorker::walk(BDBIndex* db, const QByteArray& startKey, unsigned limit, unsigned* count)
{
    const unsigned before = *count;
    return inTransaction([&](BDBTxn* txn) {
        *count = before;
        BDBCursor cursor;
        if (const int rc = cursor.open(db, txn, 0))
            return rc;
        const int rc = walkOn(cursor, startKey, limit, count);
        (void)cursor.close(); // a failure would show when the transaction ends
        return rc;
    });
}

int DirectWorker::walkOn(BDBCursor& cursor, const QByteArray& startKey, unsigned limit, unsigned* count)
{
    Dbt key = dbtOf(keyMemory_);
    Dbt data = dbtOf(dataMemory_);
    std::copy(startKey.begin(), startKey.end(), keyMemory_.begin());
    key.set_size(static_cast<u_int32_t>(startKey.size()));
    for (u_int32_t step = startKey.isEmpty() ? DB_FIRST : DB_SET_RANGE; *count < limit; step = DB_NEXT) {
        const int rc = cursor.get(&key, &data, step);
        if (rc != 0)
            return rc == DB_NOTFOUND ? 0 : rc;
        ++*count;
    }
    return 0;
}

} // namespace Bench
