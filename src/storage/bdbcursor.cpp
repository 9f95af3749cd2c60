#include "storage/bdbcursor.h"

#include "metrics/waits.h"
#include "storage/bdbindex.h"
#include "storage/bdbtxn.h"
#include "storage/resultcodes.h"

#include <utility>

BDBCursor::~BDBCursor()
{
    (void)close(); // 12 when there is nothing to close
}

int BDBCursor::open(BDBIndex* index, BDBTxn* txn, u_int32_t flags)
{
    index_ = index;
    txn_ = txn;
    return index->cursor(BDBTxn::handleOf(txn), &cursor_, flags);
}

int BDBCursor::get(Dbt* key, Dbt* data, u_int32_t flags)
{
    if (cursor_ == nullptr)
        return NoHandle;
    const Metrics::EngineCall call;
    const int rc = cursor_->get(key, data, flags);
    if (txn_ != nullptr)
        txn_->noteRead(index_);
    return rc;
}

int BDBCursor::close()
{
    if (cursor_ == nullptr)
        return NoHandle;
    return std::exchange(cursor_, nullptr)->close();
}
