#ifndef QUORVA_STORAGE_BDBCURSOR_H
#define QUORVA_STORAGE_BDBCURSOR_H

#include "storage/bdbobject.h"

#include <db_cxx.h>

class BDBIndex;
class BDBTxn;

/** A cursor. Belongs to the thread that opened it, and must be closed before its transaction ends. */
class BDBCursor final : public BDBObject {
public:
    BDBCursor() = default;
    ~BDBCursor();

    int type() const override { return BDBCursorType; }

    /** Opens a cursor on `index`; `txn` may be null. Returns Berkeley DB's result. */
    [[nodiscard]] int open(BDBIndex* index, BDBTxn* txn, u_int32_t flags);

    [[nodiscard]] int get(Dbt* key, Dbt* data, u_int32_t flags);

    /** 12 when there is no cursor. */
    int close();

private:
    Dbc* cursor_ = nullptr;     // owned by Berkeley DB, which frees it at close
    BDBIndex* index_ = nullptr; // neither is owned; set by open()
    BDBTxn* txn_ = nullptr;
};

#endif
