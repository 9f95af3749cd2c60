#ifndef QUORVA_STORAGE_BDBTXN_H
#define QUORVA_STORAGE_BDBTXN_H

#include "storage/bdbobject.h"

#include <db_cxx.h>

class BDBEnv;
class BDBIndex;
class ChangeCount;

/** A transaction. Belongs to the thread that began it; destroying an unfinished one aborts it. */
class BDBTxn final : public BDBObject {
public:
    BDBTxn() = default;
    ~BDBTxn();

    int type() const override { return BDBTxnType; }

    /** Begins a transaction of `env`, which must outlive it, without a parent. A failure is one ERROR line. */
    [[nodiscard]] int begin(BDBEnv* env, u_int32_t flags);

    /**
     * 12 with an ERROR line when none is active. Otherwise the transaction has ended, whatever the result: a failed
     * commit leaves nothing to abort.
     */
    [[nodiscard]] int commit(u_int32_t flags);

    /** 12 when none is active. */
    int abort();

    /** Ends every transaction of the server: commit() with the server's flags if `rc` is 0, else abort() and `rc`. */
    [[nodiscard]] int finish(int rc);

    /** The transaction is about to write to `index`, whose changes may be counted; the commit counts it. */
    void noteWrite(const BDBIndex* index);

    /** Berkeley DB's handle of a transaction argument, which may be null. */
    static DbTxn* handleOf(const BDBTxn* txn) { return txn != nullptr ? txn->txn_ : nullptr; }

private:
    BDBEnv* env_ = nullptr;          // not owned; set by begin()
    ChangeCount* changes_ = nullptr; // of a database that was written to; not owned. An environment has one count
    DbTxn* txn_ = nullptr;           // owned by Berkeley DB, which frees it at commit and abort
};

#endif
