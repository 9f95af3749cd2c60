#include "records/recordops.h"

#include "log/log.h"
#include "records/attributevalues.h"
#include "records/itemformatter.h"
#include "records/itemupdate.h"
#include "records/lockedread.h"
#include "records/recordbuffers.h"
#include "records/requeststatus.h"
#include "storage/bdbenv.h"
#include "storage/bdbindex.h"
#include "storage/bdbtxn.h"
#include "json/jsonwriter.h"

#include <utility>

namespace {

constexpr LockedRead::Texts Put{"putDb get failed for ", " size ", " size ", LogError};
constexpr LockedRead::Texts Delete{"deleteDb get failed for ", " size ", " size ", LogCrit};
constexpr LockedRead::Texts Commit{"commit get failed for ", " size ", " size ", LogCrit};
constexpr LockedRead::Texts Update{"updateDb get failed for ", " key size ", " data size ", LogCrit};

/** Writes the item's text. A failure other than a deadlock is logged; the line begins with `failed`. */
int write(const char* failed, BDBIndex* db, BDBTxn* txn, const QByteArray& key, RecordBuffers& buffers,
          const QByteArray& text)
{
    Dbt data(const_cast<char*>(text.constData()), static_cast<u_int32_t>(text.size())); // Berkeley DB only reads it
    const int rc = db->put(txn, buffers.key(), &data, 0);
    if (rc != 0 && rc != DB_LOCK_DEADLOCK)
        LOG_ERROR(LogOrigin::Request, __LINE__) << failed << key << " rc " << rc;
    return rc;
}

int updateInTransaction(BDBIndex* db, BDBTxn* txn, const QByteArray& key, const QVariantMap& updates,
                        const QVariantMap* expected, const QByteArray& returnValues, QVariantMap* answer, bool* written)
{
    RecordBuffers buffers(key);
    if (!buffers.valid())
        return LockedRead::allocationFailed(Update.allocationLevel, __LINE__);
    QVariantMap item;
    bool found = false;
    if (const int rc = LockedRead::readItem(Update, db, txn, key, buffers, &item, &found))
        return rc;
    if (expected != nullptr) {
        if (const int rc = Records::checkExpected(item, *expected))
            return rc;
    }
    if (const int rc = Records::applyUpdates(updates, returnValues, &item, answer))
        return rc;
    *written = found || !item.isEmpty();
    return *written ? write("db put failed for ", db, txn, key, buffers, Json::serialize(item)) : 0;
}

template <typename Work> int inOwnTransaction(const TxnScope& scope, BDBIndex* db, Work&& work)
{
    BDBTxn txn;
    if (const int rc = txn.beginWriting(scope, {&db, 1}))
        return rc;
    return txn.finish(work(&txn));
}

} // namespace

int Records::getDb(const TxnScope& scope, BDBIndex* db, const QByteArray& key, ItemFormatter* format, QByteArray* item)
{
    if (db == nullptr)
        return DB_NOTFOUND;
    BDBTxn txn;
    if (const int rc = txn.begin(scope, 0))
        return rc;
    RecordBuffers buffers(key);
    if (!buffers.valid() || !buffers.allocateData(RecordBuffers::SmallBytes))
        return LockedRead::allocationFailed(LogCrit, __LINE__);
    const int rc = buffers.readGrowing([&] { return db->get(&txn, buffers.key(), buffers.data(), 0); });
    if (!buffers.valid())
        return LockedRead::allocationFailed(LogCrit, __LINE__);
    if (rc != 0 && rc != DB_NOTFOUND && rc != DB_LOCK_DEADLOCK)
        LOG_ERROR(LogOrigin::Request, __LINE__) << "dbindex get failed for " << key << " rc " << rc;
    if (const int ended = txn.finish(rc))
        return ended;
    if (!format->append(buffers.dataBytes(), item)) {
        LOG_ERROR(LogOrigin::Request, __LINE__) << "parser error";
        return StatusInternalError;
    }
    return 0;
}

int Records::getForUpdate(BDBIndex* db, const QByteArray& key, std::optional<QByteArray>* item, BDBTxn* txn)
{
    RecordBuffers buffers(key);
    if (!buffers.valid())
        return LockedRead::allocationFailed(Commit.allocationLevel, __LINE__);
    bool found = false;
    if (const int rc = LockedRead::read(Commit, db, txn, key, buffers, &found))
        return rc;
    if (!found) {
        item->reset();
        return 0;
    }
    QByteArray text;
    if (!ItemFormatter().append(buffers.dataBytes(), &text)) {
        LOG_ERROR(LogOrigin::Request, __LINE__) << "parser failed";
        return StatusInternalError;
    }
    *item = std::move(text);
    return 0;
}

int Records::putDb(const TxnScope& scope, BDBIndex* db, const QByteArray& key, const QByteArray& item,
                   const QVariantMap* expected, QVariantMap* oldItem)
{
    return inOwnTransaction(scope, db, [&](BDBTxn* txn) { return putDb(db, key, item, expected, oldItem, txn); });
}

int Records::putDb(BDBIndex* db, const QByteArray& key, const QByteArray& item, const QVariantMap* expected,
                   QVariantMap* oldItem, BDBTxn* txn)
{
    RecordBuffers buffers(key);
    if (!buffers.valid())
        return LockedRead::allocationFailed(Put.allocationLevel, __LINE__);
    QVariantMap old;
    const bool read = expected != nullptr || oldItem != nullptr;
    if (read) {
        bool found = false;
        if (const int rc = LockedRead::readItem(Put, db, txn, key, buffers, &old, &found))
            return rc;
        if (expected != nullptr) {
            if (const int rc = checkExpected(old, *expected))
                return rc;
        }
    }
    if (const int rc = write("put failed for fkey ", db, txn, key, buffers, item))
        return rc;
    if (oldItem != nullptr)
        *oldItem = old;
    return 0;
}

int Records::deleteDb(const TxnScope& scope, BDBIndex* db, const QByteArray& key, const QVariantMap* expected,
                      QVariantMap* oldItem)
{
    if (db == nullptr)
        return expected != nullptr ? checkExpected({}, *expected) : 0;
    return inOwnTransaction(scope, db, [&](BDBTxn* txn) { return deleteDb(db, key, expected, oldItem, txn); });
}

int Records::deleteDb(BDBIndex* db, const QByteArray& key, const QVariantMap* expected, QVariantMap* oldItem,
                      BDBTxn* txn)
{
    RecordBuffers buffers(key);
    if (!buffers.valid())
        return LockedRead::allocationFailed(Delete.allocationLevel, __LINE__);
    if (expected != nullptr || oldItem != nullptr) {
        QVariantMap old;
        bool found = false;
        if (const int rc = LockedRead::readItem(Delete, db, txn, key, buffers, &old, &found))
            return rc;
        if (!found && expected == nullptr)
            return 0;
        if (expected != nullptr) {
            if (const int rc = checkExpected(old, *expected))
                return rc;
        }
        if (oldItem != nullptr)
            *oldItem = old;
    }
    const int rc = db->del(txn, buffers.key(), 0);
    if (rc == DB_NOTFOUND)
        return 0;
    if (rc != 0 && rc != DB_LOCK_DEADLOCK)
        LOG_ERROR(LogOrigin::Request, __LINE__) << "db del failed for " << key << " rc " << rc;
    return rc;
}

int Records::updateDb(const TxnScope& scope, BDBIndex* db, const QByteArray& key, const QVariantMap& updates,
                      const QVariantMap* expected, const QByteArray* returnValues, QVariantMap* result)
{
    BDBTxn txn;
    if (const int rc = txn.beginWriting(scope, {&db, 1}))
        return rc;
    QVariantMap answer;
    bool written = false;
    const int rc = updateInTransaction(db, &txn, key, updates, expected, returnValues ? *returnValues : QByteArray(),
                                       &answer, &written);
    if (rc == 0 && !written) {
        (void)txn.abort(); // nothing to keep
        return 0;
    }
    if (const int ended = txn.finish(rc))
        return ended;
    if (returnValues != nullptr)
        *result = answer;
    return 0;
}
