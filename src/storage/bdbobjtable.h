#ifndef QUORVA_STORAGE_BDBOBJTABLE_H
#define QUORVA_STORAGE_BDBOBJTABLE_H

#include "storage/bdbobject.h"

#include <QHash>
#include <QMutex>
#include <QString>

#include <atomic>
#include <chrono>
#include <memory>
#include <vector>

class AccessLock;
class BDBEnv;

/** A descriptor with this bit stands for a slot of the table of the environment attached to the table being asked. */
inline constexpr int ENV_DESC_FLAG = 0x1000000;

/**
 * A table of storage objects by descriptor (a slot number of at least 1; slot 0 is never used) and by name. There are
 * three kinds: the server-wide registry of environments, one table of shared database handles per environment, and one
 * per connection, which only records the connection's current environment.
 *
 * Threads: `names` and `locks` are guarded by `mutex`; so are additions. Reading a slot takes no lock. `env` belongs to
 * the one thread that uses the connection's table.
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
     * open database then tells the operator what fills it. The caller holds `mutex` where the table is shared.
     */
    [[nodiscard]] int addDesc(BDBObject* object);

    /**
     * The object behind a descriptor, or null with an ERROR line when the slot is empty (save for descriptor 0) or
     * holds another type. With ENV_DESC_FLAG the attached environment's table is asked.
     */
    [[nodiscard]] BDBObject* getObject(int descriptor, int expectedType) const;

    /**
     * Empties a slot, under its table's mutex; does not destroy the object. With ENV_DESC_FLAG in `env`'s table.
     *
     * Kept: part of the storage objects' set; no request uses it.
     */
    void freeDesc(int descriptor);

    /** The same for a caller that holds the mutex already, in this table. */
    void clearSlot(int descriptor);

    void setEnv(BDBEnv* env) { env_ = env; }
    BDBEnv* env() const { return env_; }

    /**
     * Destroys what the table holds, in the order that Berkeley DB asks for: cursors and lockers, transactions,
     * sequences, database handles. Objects of other types stay.
     */
    void closeObjects();

    QMutex& mutex() const { return mutex_; }

    /** Guarded by mutex(). */
    QHash<QString, int>& names() { return names_; }
    QHash<QString, std::shared_ptr<AccessLock>>& locks() { return locks_; }

    /**
     * The names that are other spellings of an environment's directory, and when each was resolved last (see
     * EnvironmentNames). Used in the registry of environments only; guarded by mutex().
     */
    QHash<QString, std::chrono::steady_clock::time_point>& spellings() { return spellings_; }

private:
    BDBObject* objectAt(int descriptor) const;
    void dumpDatabases() const;

    mutable QMutex mutex_;
    std::vector<std::atomic<BDBObject*>> objects_;
    std::atomic<std::size_t> usedEnd_ = 0; // behind the last slot that was ever filled
    QHash<QString, int> names_;
    QHash<QString, std::shared_ptr<AccessLock>> locks_; // used in the registry of environments only
    QHash<QString, std::chrono::steady_clock::time_point> spellings_;
    BDBEnv* env_ = nullptr; // not owned
};

#endif
