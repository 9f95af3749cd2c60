#include "records/lockedread.h"

#include "log/log.h"
#include "records/recordbuffers.h"
#include "records/requeststatus.h"
#include "storage/bdbindex.h"
#include "storage/bdbtxn.h"
#include "json/jsonreader.h"

namespace {

bool parseItem(const QByteArray& text, QVariantMap* item)
{
    QVariant value;
    if (!Json::parse(text, &value))
        return false;
    *item = value.toMap();
    return true;
}

} // namespace

int LockedRead::allocationFailed(int level, int line)
{
    QUORVA_LOG_AT(level) << LogOrigin::Request << ' ' << line << " malloc failed";
    return StatusInternalError;
}

int LockedRead::read(const Texts& texts, BDBIndex* db, BDBTxn* txn, const QByteArray& key, RecordBuffers& buffers,
                     bool* found)
{
    if (!buffers.allocateData(RecordBuffers::SmallBytes))
        return allocationFailed(texts.allocationLevel, __LINE__);
    const int rc = buffers.readGrowing([&] { return db->get(txn, buffers.key(), buffers.data(), DB_RMW); });
    if (!buffers.valid())
        return allocationFailed(texts.allocationLevel, __LINE__);
    *found = rc == 0;
    if (rc != 0 && rc != DB_NOTFOUND && rc != DB_LOCK_DEADLOCK)
        LOG_ERROR(LogOrigin::Request, __LINE__)
            << texts.readFailed << key << " key ulen " << buffers.key()->get_ulen() << texts.keySize
            << buffers.key()->get_size() << " data ulen " << buffers.data()->get_ulen() << texts.dataSize
            << buffers.data()->get_size();
    return rc == DB_NOTFOUND ? 0 : rc;
}

int LockedRead::readItem(const Texts& texts, BDBIndex* db, BDBTxn* txn, const QByteArray& key, RecordBuffers& buffers,
                         QVariantMap* item, bool* found)
{
    item->clear();
    if (const int rc = read(texts, db, txn, key, buffers, found))
        return rc;
    if (*found && !parseItem(buffers.dataBytes(), item)) {
        LOG_ERROR(LogOrigin::Request, __LINE__) << "parser failed";
        return StatusInternalError;
    }
    return 0;
}
