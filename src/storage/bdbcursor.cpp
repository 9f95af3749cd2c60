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
    return index->cursor(BDBTxn::handleOf(txn), &cursor_, flags);
}

int BDBCursor::get(Dbt* key, Dbt* data, u_int32_t flags)
{
    return cursor_ != nullptr ? cursor_->get(key, data, flags) : NoHandle;
}

int BDBCursor::close()
{
    if (cursor_ == nullptr)
        return NoHandle;
    return std::exchange(cursor_, nullptr)->close();
}
