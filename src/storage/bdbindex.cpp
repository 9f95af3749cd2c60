#include "storage/bdbindex.h"

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

int BDBIndex::put(BDBTxn* txn, Dbt* key, Dbt* data, u_int32_t flags)
{
    return Db::put(BDBTxn::handleOf(txn), key, data, flags);
}

int BDBIndex::get(BDBTxn* txn, Dbt* key, Dbt* data, u_int32_t flags)
{
    return Db::get(BDBTxn::handleOf(txn), key, data, flags);
}

int BDBIndex::del(BDBTxn* txn, Dbt* key, u_int32_t flags)
{
    return Db::del(BDBTxn::handleOf(txn), key, flags);
}

int BDBIndex::close(u_int32_t flags)
{
    if (isOpen_ == 0)
        return NoHandle;
    isOpen_ = 0;
    return Db::close(flags);
}
