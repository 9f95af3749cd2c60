#include "storage/bdbcursor.h"

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
    return cursor_ != nullptr ? cursor_->get(key, data, flags) : NoHandle;
}

int BDBCursor::put(Dbt* key, Dbt* data, u_int32_t flags)
{
    if (cursor_ == nullptr)
        return NoHandle;
    if (txn_ != nullptr)
        txn_->noteWrite(index_);
    return cursor_->put(key, data, flags);
}

int BDBCursor::isAtSameRecord(const BDBCursor& other, bool* same)
{
    if (cursor_ == nullptr || other.cursor_ == nullptr)
        return NoHandle;
    int differs = 0;
    const int rc = cursor_->cmp(other.cursor_, &differs, 0);
    *same = rc == 0 && differs == 0;
    return rc;
}

int BDBCursor::close()
{
    if (cursor_ == nullptr)
        return NoHandle;
    return std::exchange(cursor_, nullptr)->close();
}
