#include "storage/bdbindex.h"

#include "storage/bdbcursor.h"
#include "storage/bdbtxn.h"
#include "storage/resultcodes.h"

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
    if (txn == nullptr) {
        const ChangeCount::Change change(changes_);
        return write(nullptr);
    }
    txn->noteWrite(this);
    return write(BDBTxn::handleOf(txn));
}

int BDBIndex::put(BDBTxn* txn, Dbt* key, Dbt* data, u_int32_t flags)
{
    return writeIn(txn, [&](DbTxn* handle) { return Db::put(handle, key, data, flags); });
}

/*
 * Berkeley DB 5.3 can put a key into the wrong leaf. A put that finds its leaf full locks the leaf and its parent to
 * split it. If another transaction has split the leaf in the meantime, the put releases both, but starts its next
 * search at that parent instead of the root. If the parent was split as well, a key that belongs under its new sibling
 * is inserted after the last key of the old page, where no search from the root finds it. A leaf that the transaction
 * has locked by a read with DB_RMW cannot be split by others, so only a put without such a read needs the check.
 */
int BDBIndex::putChecked(BDBTxn* txn, Dbt* key, Dbt* data)
{
    BDBCursor written;
    if (const int rc = written.open(this, txn, 0))
        return rc;
    if (const int rc = written.put(key, data, DB_KEYLAST))
        return rc;

    BDBCursor found;
    if (const int rc = found.open(this, txn, 0))
        return rc;
    Dbt noData;
    noData.set_flags(DB_DBT_USERMEM | DB_DBT_PARTIAL);
    const int rc = found.get(key, &noData, DB_SET);
    if (rc != 0)
        return rc == DB_NOTFOUND ? DB_LOCK_DEADLOCK : rc;
    bool same = false;
    if (const int compared = written.isAtSameRecord(found, &same))
        return compared;
    if (!same)
        return DB_LOCK_DEADLOCK;
    const int foundClosed = found.close();
    const int writtenClosed = written.close();
    return foundClosed != 0 ? foundClosed : writtenClosed;
}

int BDBIndex::get(BDBTxn* txn, Dbt* key, Dbt* data, u_int32_t flags)
{
    return Db::get(BDBTxn::handleOf(txn), key, data, flags);
}

int BDBIndex::del(BDBTxn* txn, Dbt* key, u_int32_t flags)
{
    return writeIn(txn, [&](DbTxn* handle) { return Db::del(handle, key, flags); });
}

int BDBIndex::close(u_int32_t flags)
{
    if (isOpen_ == 0)
        return NoHandle;
    isOpen_ = 0;
    return Db::close(flags);
}
