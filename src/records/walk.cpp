#include "records/walk.h"

#include "log/log.h"
#include "records/encoding.h"
#include "records/itemformatter.h"
#include "records/requeststatus.h"
#include "json/jsontext.h"

int Walk::open(const TxnScope& scope, BDBIndex* db)
{
    int rc = txn_.begin(scope, 0);
    if (rc == 0)
        // As a flag of the cursor: Berkeley DB accepts it with a read, but ignores it there.
        // Kept: the walk may see part of a concurrent batch; writers do not wait for the whole walk.
        rc = cursor_.open(db, &txn_, DB_READ_COMMITTED);
    if (rc != 0) {
        if (rc != DB_LOCK_DEADLOCK)
            LOG_ERROR(LogOrigin::Request, __LINE__) << "cursor open failed " << rc;
        return rc;
    }
    if (!buffers_.valid() || !buffers_.allocateData(buffers_.keyCapacity()))
        return allocationFailed();
    return 0;
}

int Walk::read(u_int32_t step)
{
    const int rc = buffers_.readGrowing([&] { return cursor_.get(buffers_.key(), buffers_.data(), step); });
    if (!buffers_.valid())
        return allocationFailed();
    if (rc != 0 && rc != DB_NOTFOUND && rc != DB_LOCK_DEADLOCK)
        LOG_ERROR(LogOrigin::Request, __LINE__)
            << name_ << " cursor get failed for " << startKey_ << " key ulen " << buffers_.key()->get_ulen() << " size "
            << buffers_.key()->get_size() << " data ulen " << buffers_.data()->get_ulen() << " size "
            << buffers_.data()->get_size();
    return rc;
}

bool Walk::decode(QByteArrayView* hash, QByteArrayView* range)
{
    if (Records::decodeRecordKey(key(), hash, range))
        return true;
    LOG_ERROR(LogOrigin::Request, __LINE__) << name_ << " Key format corruption";
    return false;
}

int Walk::appendItem(ItemFormatter* format, QByteArrayView hash, QByteArrayView range, QByteArray* items)
{
    const qsizetype before = items->size();
    Json::beginElement(items);
    if (format->append(buffers_.dataBytes(), hash, range, items))
        return 0;
    items->truncate(before);
    LOG_ERROR(LogOrigin::Request, __LINE__) << name_ << " Failed to parse";
    return StatusInternalError;
}

int Walk::finish(int rc)
{
    (void)cursor_.close(); // a failure surfaces when the transaction ends, if at all
    return txn_.finish(rc);
}

int Walk::allocationFailed()
{
    LOG_CRIT(LogOrigin::Request, __LINE__) << "malloc failed";
    return StatusInternalError;
}
