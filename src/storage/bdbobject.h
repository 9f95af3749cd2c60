#ifndef QUORVA_STORAGE_BDBOBJECT_H
#define QUORVA_STORAGE_BDBOBJECT_H

/** The values of `BDBObject::type()`. Descriptor tables and log lines carry these numbers. */
enum BDBObjectType : int {
    BDBIndexType = 1,
    BDBTxnType = 2,
    BDBCursorType = 3,
    BDBSeqType = 4,
    BDBEnvType = 5,
    BDBQuotaType = 6,
    BDBLockerType = 7
};

/**
 * Base of everything kept in a descriptor table. It cannot be destroyed through this class: a table destroys what it
 * holds through the concrete class that `type()` names.
 */
class BDBObject {
public:
    BDBObject(const BDBObject&) = delete;
    BDBObject& operator=(const BDBObject&) = delete;

    virtual int type() const = 0;

protected:
    BDBObject() = default;
    ~BDBObject() = default;
};

#endif
