#ifndef QUORVA_STORAGE_DERIVEDVALUE_H
#define QUORVA_STORAGE_DERIVEDVALUE_H

#include "storage/changecount.h"

#include <memory>
#include <mutex>
#include <utility>

/**
 * What a higher layer has made of a database's contents, kept with the database's handle. Only that layer knows the
 * type. Any thread.
 */
class DerivedValue {
public:
    using Value = std::shared_ptr<const void>;

    /** What was kept with this stamp, or null. */
    Value get(ChangeCount::Stamp stamp) const
    {
        const std::lock_guard lock(mutex_);
        return stamp_ == stamp ? value_ : nullptr;
    }

    /** Replaces what is kept. `stamp` was taken before the contents were read. */
    void keep(ChangeCount::Stamp stamp, Value value)
    {
        const std::lock_guard lock(mutex_);
        stamp_ = stamp;
        value_.swap(value);
    } // the previous one is destroyed without the mutex, unless it is still in use

private:
    mutable std::mutex mutex_;
    ChangeCount::Stamp stamp_ = 0; // both guarded by mutex_
    Value value_;
};

#endif
