#include "storage/bdbindex.h"

#include "metrics/waits.h"
#include "storage/bdbtxn.h"
#include "storage/resultcodes.h"
#include "storage/txnscope.h"

BDBIndex::BDBIndex(DbEnv* env, u_int32_t flags) : Db(env, flags) {}

BDBIndex::~BDBIndex()
{
    (void)BDBIndex::close(0); // 12 when it never opened; Db's destructor then frees the handle
}

int BDBIndex::open(const char* file, const char* subDb, DBTYPE type, u_int32_t flags)
{
    const int rc = Db::open(nullptr, file, subDb, type, flags, 0);
    if (rc == 0)
        isOpen_ = 1;
    return rc;
}

/** Runs a write in `txn` or, if that is null, in a transaction of its own. */
template <typename Write> int BDBIndex::writeIn(BDBTxn* txn, Write&& write)
{
    const Metrics::EngineCall call;
    if (txn == nullptr) {
        const ChangeCount::Change change(changes_);
        return write(nullptr);
    }
    const int rc = write(BDBTxn::handleOf(txn));
    txn->noteWrite(this);
    return rc;
}

int BDBIndex::put(BDBTxn* txn, Dbt* key, Dbt* data, u_int32_t flags)
{
    return writeIn(txn, [&](DbTxn* handle) { return Db::put(handle, key, data, flags); });
}

int BDBIndex::get(BDBTxn* txn, Dbt* key, Dbt* data, u_int32_t flags)
{
    const Metrics::EngineCall call;
    const int rc = Db::get(BDBTxn::handleOf(txn), key, data, flags);
    if (txn != nullptr)
        txn->noteRead(this);
    return rc;
}

int BDBIndex::read(const TxnScope& scope, Dbt* key, Dbt* data)
{
    const int rc = get(nullptr, key, data, 0);
    // Only now: a writer raises the file's count before it releases the page.
    if (scope.unflushed() != nullptr)
        scope.unflushed()->noteRead(*state_);
    return rc;
}

int BDBIndex::del(BDBTxn* txn, Dbt* key, u_int32_t flags)
{
    return writeIn(txn, [&](DbTxn* handle) { return Db::del(handle, key, flags); });
}

int BDBIndex::compact(BDBTxn* txn, Dbt* start, DB_COMPACT* counts, Dbt* end)
{
    return writeIn(txn, [&](DbTxn* handle) { return Db::compact(handle, start, nullptr, counts, DB_FREE_SPACE, end); });
}

int BDBIndex::close(u_int32_t flags)
{
    if (isOpen_ == 0)
        return NoHandle;
    isOpen_ = 0;
    return Db::close(flags);
}
