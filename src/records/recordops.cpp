#include "records/recordops.h"

#include "log/log.h"
#include "records/attributevalues.h"
#include "records/itemformatter.h"
#include "records/itemupdate.h"
#include "records/recordbuffers.h"
#include "records/requeststatus.h"
#include "storage/bdbenv.h"
#include "storage/bdbindex.h"
#include "storage/bdbtxn.h"
#include "json/jsonreader.h"
#include "json/jsonwriter.h"

#include <utility>

namespace {

constexpr const char* LogOrigin = "bdbrequest";

bool parseItem(const QByteArray& text, QVariantMap* item)
{
    QVariant value;
    if (!Json::parse(text, &value))
        return false;
    *item = value.toMap();
    return true;
}

/** How the operations appear in their log lines, and at which level they report a failed allocation. */
struct LogTexts {
    const char* readFailed;
    const char* keySize; // Kept: updateDb's line says "key size" and "data size" where the others say "size".
    const char* dataSize;
    int allocationLevel; // Kept: putDb reports at ERROR, the others at CRIT.
};

constexpr LogTexts Put{"putDb get failed for ", " size ", " size ", LogError};
constexpr LogTexts Delete{"deleteDb get failed for ", " size ", " size ", LogCrit};
constexpr LogTexts Commit{"commit get failed for ", " size ", " size ", LogCrit};
constexpr LogTexts Update{"updateDb get failed for ", " key size ", " data size ", LogCrit};

int allocationFailed(int level, int line)
{
    QUORVA_LOG_AT(level) << LogOrigin << ' ' << line << " malloc failed";
    return StatusInternalError;
}

/**
 * Reads the record under a write lock, which serializes concurrent updates instead of letting them deadlock on the
 * upgrade. A missing record is 0 with `found` false. Berkeley DB's code, or StatusInternalError, each with its line.
 */
int readLocked(const LogTexts& texts, BDBIndex* db, BDBTxn* txn, const QByteArray& key, RecordBuffers& buffers,
               bool* found)
{
    if (!buffers.allocateData(RecordBuffers::SmallBytes))
        return allocationFailed(texts.allocationLevel, __LINE__);
    const int rc = buffers.readGrowing([&] { return db->get(txn, buffers.key(), buffers.data(), DB_RMW); });
    if (!buffers.valid())
        return allocationFailed(texts.allocationLevel, __LINE__);
    *found = rc == 0;
    if (rc != 0 && rc != DB_NOTFOUND && rc != DB_LOCK_DEADLOCK)
        LOG_ERROR(LogOrigin, __LINE__) << texts.readFailed << key << " key ulen " << buffers.key()->get_ulen()
                                       << texts.keySize << buffers.key()->get_size() << " data ulen "
                                       << buffers.data()->get_ulen() << texts.dataSize << buffers.data()->get_size();
    return rc == DB_NOTFOUND ? 0 : rc;
}

/**
 * The first half of a read-modify-write: the record as a tree. A missing one is an empty `item`. readLocked()'s
 * results, or StatusInternalError with a line for a text that is not JSON.
 */
int readForUpdate(const LogTexts& texts, BDBIndex* db, BDBTxn* txn, const QByteArray& key, RecordBuffers& buffers,
                  QVariantMap* item, bool* found)
{
    item->clear();
    if (const int rc = readLocked(texts, db, txn, key, buffers, found))
        return rc;
    if (*found && !parseItem(buffers.dataBytes(), item)) {
        LOG_ERROR(LogOrigin, __LINE__) << "parser failed";
        return StatusInternalError;
    }
    return 0;
}

/** Writes the item's text. A failure other than a deadlock is logged; the line begins with `failed`. */
int write(const char* failed, BDBIndex* db, BDBTxn* txn, const QByteArray& key, RecordBuffers& buffers,
          const QByteArray& text)
{
    Dbt data(const_cast<char*>(text.constData()), static_cast<u_int32_t>(text.size())); // Berkeley DB only reads it
    const int rc = db->put(txn, buffers.key(), &data, 0);
    if (rc != 0 && rc != DB_LOCK_DEADLOCK)
        LOG_ERROR(LogOrigin, __LINE__) << failed << key << " rc " << rc;
    return rc;
}

int updateInTransaction(BDBIndex* db, BDBTxn* txn, const QByteArray& key, const QVariantMap& updates,
                        const QVariantMap* expected, const QByteArray& returnValues, QVariantMap* answer, bool* written)
{
    RecordBuffers buffers(key);
    if (!buffers.valid())
        return allocationFailed(Update.allocationLevel, __LINE__);
    QVariantMap item;
    bool found = false;
    if (const int rc = readForUpdate(Update, db, txn, key, buffers, &item, &found))
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
    BDBTxn txn;
    if (const int rc = txn.begin(scope, 0))
        return rc;
    RecordBuffers buffers(key);
    if (!buffers.valid() || !buffers.allocateData(RecordBuffers::SmallBytes))
        return allocationFailed(LogCrit, __LINE__);
    const int rc = buffers.readGrowing([&] { return db->get(&txn, buffers.key(), buffers.data(), 0); });
    if (!buffers.valid())
        return allocationFailed(LogCrit, __LINE__);
    if (rc != 0 && rc != DB_NOTFOUND && rc != DB_LOCK_DEADLOCK)
        LOG_ERROR(LogOrigin, __LINE__) << "dbindex get failed for " << key << " rc " << rc;
    if (const int ended = txn.finish(rc))
        return ended;
    if (!format->append(buffers.dataBytes(), item)) {
        LOG_ERROR(LogOrigin, __LINE__) << "parser error";
        return StatusInternalError;
    }
    return 0;
}

int Records::getForUpdate(BDBIndex* db, const QByteArray& key, std::optional<QByteArray>* item, BDBTxn* txn)
{
    RecordBuffers buffers(key);
    if (!buffers.valid())
        return allocationFailed(Commit.allocationLevel, __LINE__);
    bool found = false;
    if (const int rc = readLocked(Commit, db, txn, key, buffers, &found))
        return rc;
    if (!found) {
        item->reset();
        return 0;
    }
    QByteArray text;
    if (!ItemFormatter().append(buffers.dataBytes(), &text)) {
        LOG_ERROR(LogOrigin, __LINE__) << "parser failed";
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
        return allocationFailed(Put.allocationLevel, __LINE__);
    QVariantMap old;
    const bool read = expected != nullptr || oldItem != nullptr;
    if (read) {
        bool found = false;
        if (const int rc = readForUpdate(Put, db, txn, key, buffers, &old, &found))
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
    return inOwnTransaction(scope, db, [&](BDBTxn* txn) { return deleteDb(db, key, expected, oldItem, txn); });
}

int Records::deleteDb(BDBIndex* db, const QByteArray& key, const QVariantMap* expected, QVariantMap* oldItem,
                      BDBTxn* txn)
{
    RecordBuffers buffers(key);
    if (!buffers.valid())
        return allocationFailed(Delete.allocationLevel, __LINE__);
    if (expected != nullptr || oldItem != nullptr) {
        QVariantMap old;
        bool found = false;
        if (const int rc = readForUpdate(Delete, db, txn, key, buffers, &old, &found))
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
        LOG_ERROR(LogOrigin, __LINE__) << "db del failed for " << key << " rc " << rc;
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
