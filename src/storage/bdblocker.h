#ifndef QUORVA_STORAGE_BDBLOCKER_H
#define QUORVA_STORAGE_BDBLOCKER_H

#include "storage/bdbobject.h"

#include <QString>

class BDBEnv;

/**
 * A named lock within one environment and one process; it never blocks. One object holds at most one name and belongs
 * to one thread; the names are guarded by the environment's table mutex.
 *
 * Kept: part of the storage objects' set; no request uses it.
 */
class BDBLocker final : public BDBObject {
public:
    /** `env` must outlive the locker. */
    explicit BDBLocker(BDBEnv* env) : env_(env) {}
    ~BDBLocker();

    int type() const override { return BDBLockerType; }

    /** 0; 12 when this object holds a name already; DB_LOCK_NOTGRANTED when `name` is held elsewhere. */
    [[nodiscard]] int lock(const QString& name);

    /** 22 when nothing is locked. */
    int unlock();

private:
    BDBEnv* const env_; // not owned
    int locked_ = 0;
    QString name_;
};

#endif
