#ifndef QUORVA_STORAGE_BDBTXN_H
#define QUORVA_STORAGE_BDBTXN_H

#include "storage/bdbobject.h"
#include "storage/txnscope.h"

#include <db_cxx.h>

#include <QVarLengthArray>

#include <span>

class BDBIndex;
class ChangeCount;
struct DatabaseState;

/** A transaction. Belongs to the thread that began it; destroying an unfinished one aborts it. */
class BDBTxn final : public BDBObject {
public:
    BDBTxn() = default;
    ~BDBTxn();

    int type() const override { return BDBTxnType; }

    /**
     * Begins a transaction in `scope`, whose environment or use must outlive it, without a parent. A failure is one
     * ERROR line.
     */
    [[nodiscard]] int begin(const TxnScope& scope, u_int32_t flags);

    /**
     * The same for a transaction that writes to these databases: it is their only writer until it ends. Waits for other
     * writers; all transactions lock the files in one order. The caller is in no other transaction.
     */
    [[nodiscard]] int beginWriting(const TxnScope& scope, std::span<BDBIndex* const> databases);

    /**
     * 12 with an ERROR line when none is active. Otherwise the transaction has ended, whatever the result: a failed
     * commit leaves nothing to abort.
     */
    [[nodiscard]] int commit(u_int32_t flags);

    /** 12 when none is active. */
    int abort();

    /** After a read from `database` in the transaction, whatever its result. */
    void noteRead(BDBIndex* database);

    /** After a write to `database` in the transaction, whatever its result. */
    void noteWrite(BDBIndex* database);

    /** Ends every transaction of the server: commit() with the server's flags if `rc` is 0, else abort() and `rc`. */
    [[nodiscard]] int finish(int rc);

    /** Berkeley DB's handle of a transaction argument, which may be null. */
    static DbTxn* handleOf(const BDBTxn* txn) { return txn != nullptr ? txn->txn_ : nullptr; }

private:
    void releaseFiles();
    void countEnd(bool committed);

    TxnScope scope_{static_cast<BDBEnv*>(nullptr)}; // set by begin()
    QVarLengthArray<DatabaseState*, 2> written_;    // without consecutive repetitions
    QVarLengthArray<DatabaseState*, 2> held_;       // whose `writer` is locked, in the order of their addresses
    ChangeCount* changes_ = nullptr;                // of a database written to; not owned. An environment has one
    DbTxn* txn_ = nullptr;                          // owned by Berkeley DB, which frees it at commit and abort
};

#endif
