#ifndef QUORVA_STORAGE_BDBINDEX_H
#define QUORVA_STORAGE_BDBINDEX_H

#include "storage/bdbobject.h"
#include "storage/databasestate.h"
#include "storage/derivedvalue.h"

#include <db_cxx.h>

class BDBTxn;
class ChangeCount;
class TxnScope;

/**
 * A database handle. Shared by all threads once it is open. A transaction argument may be null: no transaction.
 * Results are Berkeley DB's.
 */
class BDBIndex : public BDBObject, public Db {
public:
    /** The handle belongs to `env`, which must outlive it. */
    BDBIndex(DbEnv* env, u_int32_t flags);
    ~BDBIndex() override;

    int type() const override { return BDBIndexType; }

    /** Opens sub-database `subDb` of `file`, without a transaction, with mode 0. */
    [[nodiscard]] int open(const char* file, const char* subDb, DBTYPE type, u_int32_t flags);

    [[nodiscard]] int put(BDBTxn* txn, Dbt* key, Dbt* data, u_int32_t flags);
    [[nodiscard]] int get(BDBTxn* txn, Dbt* key, Dbt* data, u_int32_t flags);
    [[nodiscard]] int del(BDBTxn* txn, Dbt* key, u_int32_t flags);

    /**
     * Reads one record in no transaction, for a request that works in `scope`. Berkeley DB locks its page for as long
     * as the read takes, so that it returns committed data, as a transaction that reads nothing else would.
     */
    [[nodiscard]] int read(const TxnScope& scope, Dbt* key, Dbt* data);

    /** Compacts the database from `start` on, or all of it if that is null, and gives free pages back to the system. */
    [[nodiscard]] int compact(BDBTxn* txn, Dbt* start, DB_COMPACT* counts, Dbt* end);

    /** What the handles of the same file share; its own until shareState(). */
    DatabaseState& state() { return *state_; }

    /** Not owned; must outlive the handle. Call before the handle is shared. */
    void shareState(DatabaseState* state) { state_ = state; }

    /** 12, without calling Berkeley DB, when the handle is not open. */
    int close(u_int32_t flags) override;

    int isOpen() const { return isOpen_; }

    /**
     * Has `changes` count what is written to the database through this handle, in a transaction or without. It must
     * outlive the handle, and be the same for all handles of the database. Call before the handle is shared.
     */
    void countChanges(ChangeCount* changes) { changes_ = changes; }

    /** Null: changes are not counted. */
    ChangeCount* changes() const { return changes_; }

    /** What readers have derived from the contents; current while changes() returns the same stamp. */
    DerivedValue& derived() { return derived_; }

private:
    template <typename Write> int writeIn(BDBTxn* txn, Write&& write);

    ChangeCount* changes_ = nullptr; // not owned
    DerivedValue derived_;
    int isOpen_ = 0;
    DatabaseState ownState_;
    DatabaseState* state_ = &ownState_;
};

#endif
