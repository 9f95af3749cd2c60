#ifndef QUORVA_STORAGE_BDBREGISTRY_H
#define QUORVA_STORAGE_BDBREGISTRY_H

#include "storage/bdbobjtable.h"
#include "storage/environmentuse.h"

#include <QByteArray>
#include <QString>

#include <memory>
#include <vector>

/**
 * Finding, opening, locking and removing environments. All functions may be called by any thread.
 *
 * Lock order: an environment's access lock, then the registry's mutex, then the environment's opening mutex, then its
 * table mutex, then the writers' mutexes of its files, then its commit gate. A thread that holds page locks waits only
 * for the last of these: Berkeley DB's deadlock detector cannot see them.
 *
 * An environment is opened and closed without the mutex, as both can take minutes: only requests for the same one wait
 * (see OpeningEnvironments and ClosingEnvironments). All spellings of a directory denote one environment (see
 * EnvironmentNames); messages show the spelling of the request.
 */
namespace Registry {

/**
 * Finds the environment named `key` (an "env::" name) or, with `create`, opens it in the directory `home` and registers
 * it. Result 0: `env` is a use of it and carries its access lock. 3: not registered and `create` is 0, or it could not
 * be opened. 2: the registry is full; the environment is then open, neither registered nor closed, and in `env`. If
 * another thread is opening the same environment, waits for that and shares its failure; if it is being closed,
 * `create` waits for that. An earlier use in `env` is released before any wait.
 */
[[nodiscard]] int openEnv(BDBObjTable* registry, const QString& key, EnvironmentUse* env, int tableCapacity, int create,
                          const QByteArray& home);

/** Finds the environment named `key` if it is open; never waits. True: `env` is a use of it, as from openEnv. */
[[nodiscard]] bool findEnv(BDBObjTable* registry, const QString& key, EnvironmentUse* env);

/**
 * The same, but waits while the environment is being opened or closed: false means that the files on disk are complete
 * as they are. `env` is released before any wait.
 */
[[nodiscard]] bool findSettledEnv(BDBObjTable* registry, const QString& key, EnvironmentUse* env);

/** Registers `env` with a new access lock. Its descriptor, or -1 when the registry is full. The caller holds the mutex.
 */
[[nodiscard]] int registerEnv(BDBObjTable* registry, BDBEnv* env, const QString& key);

/**
 * Acquires the access lock of the table's environment and returns it; null when it was not acquired. Exclusive: waits
 * without limit. Shared: never waits; a holder of an EnvironmentUse acquires it through that. An environment without a
 * lock (not open, or removed in the meantime) is one ERROR line.
 */
[[nodiscard]] std::shared_ptr<AccessLock> lockEnv(BDBObjTable* registry, const QByteArray& tableName, bool exclusive);

/** Releases one hold of this thread on the lock of the table's environment; does nothing when there is none. */
void unlockEnv(BDBObjTable* registry, const QByteArray& tableName);

/** Releases `lock` and removes it from the registry, unless another one has replaced it there. */
void dropEnvLock(BDBObjTable* registry, const std::shared_ptr<AccessLock>& lock);

/**
 * Removes the table's environment from the registry, waits until it is unused and destroys it. The caller holds its
 * access lock exclusively and no EnvironmentUse of it. Does nothing when it is not registered. `held` is that lock, and
 * identifies the environment: the name may lead to another one by the time of the call.
 */
void removeEnv(BDBObjTable* registry, const QByteArray& tableName, const std::shared_ptr<AccessLock>& held = nullptr);

/** A use of each registered environment, in the order of their directories. Waits for none of them. */
[[nodiscard]] std::vector<EnvironmentUse> openEnvironments(BDBObjTable* registry);

/** Makes durable what all registered environments have committed. A failure is their log's. */
void flushAll(BDBObjTable* registry);

} // namespace Registry

#endif
