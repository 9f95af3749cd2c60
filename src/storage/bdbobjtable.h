#ifndef QUORVA_STORAGE_BDBOBJTABLE_H
#define QUORVA_STORAGE_BDBOBJTABLE_H

#include "storage/bdbobject.h"

#include <QHash>
#include <QMutex>
#include <QString>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <memory>
#include <vector>

class AccessLock;
class BDBEnv;

/** A descriptor with this bit refers to a slot in the table of the attached environment. */
inline constexpr int ENV_DESC_FLAG = 0x1000000;

/**
 * A table of storage objects by descriptor (a slot number of at least 1; slot 0 is never used) and by name. There are
 * three kinds: the server-wide registry of environments, one table of shared database handles per environment, and one
 * per connection, which only records the connection's current environment.
 *
 * Threads: `names`, `locks` and additions are guarded by `mutex`. Reading a slot takes no lock. `env` belongs to the
 * one thread that uses the connection's table.
 */
class BDBObjTable {
public:
    /** A table with slots 0 to capacity - 1, all empty. */
    explicit BDBObjTable(int capacity);
    /** Closes what the table still holds; see closeObjects. */
    ~BDBObjTable();
    BDBObjTable(const BDBObjTable&) = delete;
    BDBObjTable& operator=(const BDBObjTable&) = delete;

    /**
     * Puts `object` into the first free slot and returns its descriptor. -1 when the table is full; one ERROR line per
     * open database then shows the operator what fills it. The caller holds `mutex` if the table is shared.
     */
    [[nodiscard]] int addDesc(BDBObject* object);

    /** Whether addDesc would find a slot. False: shows what fills the table, like addDesc. The same mutex. */
    [[nodiscard]] bool hasRoom() const;

    /**
     * The object behind a descriptor, or null with an ERROR line when the slot is empty (except for descriptor 0) or
     * holds another type. With ENV_DESC_FLAG, looks in the attached environment's table.
     */
    [[nodiscard]] BDBObject* getObject(int descriptor, int expectedType) const;

    /**
     * Empties a slot, under its table's mutex; does not destroy the object. With ENV_DESC_FLAG in `env`'s table.
     *
     * Kept: part of the storage objects' set; no request uses it.
     */
    void freeDesc(int descriptor);

    /** The same in this table, for a caller that already holds the mutex. */
    void clearSlot(int descriptor);

    void setEnv(BDBEnv* env) { env_ = env; }
    BDBEnv* env() const { return env_; }

    /**
     * Destroys the objects of the table in the order that Berkeley DB requires: cursors and lockers, transactions,
     * sequences, database handles. Objects of other types stay.
     */
    void closeObjects();

    /** Whether `matches` one of the objects of a type. The caller holds the mutex. */
    template <typename Matches> bool anyObject(int type, Matches&& matches) const
    {
        return std::any_of(objects_.begin(), objects_.end(), [&](const auto& slot) {
            BDBObject* const object = slot.load(std::memory_order_acquire);
            return object != nullptr && object->type() == type && matches(object);
        });
    }

    QMutex& mutex() const { return mutex_; }

    /** Guarded by mutex(). */
    QHash<QString, int>& names() { return names_; }
    QHash<QString, std::shared_ptr<AccessLock>>& locks() { return locks_; }

    /**
     * Alternative spellings of environment directories, with the time each was last resolved (see EnvironmentNames).
     * Used only in the registry of environments; guarded by mutex().
     */
    QHash<QString, std::chrono::steady_clock::time_point>& spellings() { return spellings_; }

private:
    BDBObject* objectAt(int descriptor) const;
    std::size_t freeSlot() const;
    void dumpDatabases() const;

    mutable QMutex mutex_;
    std::vector<std::atomic<BDBObject*>> objects_;
    std::atomic<std::size_t> usedEnd_ = 0; // one past the last slot ever filled
    QHash<QString, int> names_;
    QHash<QString, std::shared_ptr<AccessLock>> locks_; // used in the registry of environments only
    QHash<QString, std::chrono::steady_clock::time_point> spellings_;
    BDBEnv* env_ = nullptr; // not owned
};

#endif
