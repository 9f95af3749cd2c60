#ifndef QUORVA_STORAGE_BDBQUOTA_H
#define QUORVA_STORAGE_BDBQUOTA_H

#include "storage/bdbobject.h"

#include <QMutex>

#include <cstdint>

/**
 * A byte budget that any number of threads may draw on.
 *
 * Kept: part of the storage objects' set; no request uses it.
 */
class BDBQuota final : public BDBObject {
public:
    BDBQuota() = default;

    int type() const override { return BDBQuotaType; }

    /** Adds `delta`, which may be negative, to the usage. 12, and no change, if that would exceed the limit. */
    [[nodiscard]] int charge(std::int64_t delta);

    std::int64_t used() const;
    void set(std::int64_t used, std::int64_t limit);

private:
    mutable QMutex mutex_;
    std::int64_t used_ = 0;  // guarded by mutex_
    std::int64_t limit_ = 0; // guarded by mutex_
};

#endif
