#ifndef QUORVA_STORAGE_BDBREGISTRY_H
#define QUORVA_STORAGE_BDBREGISTRY_H

#include "storage/bdbobjtable.h"
#include "storage/environmentuse.h"

#include <QByteArray>
#include <QString>

#include <memory>

/**
 * Finding, opening, locking and removing environments. All functions may be called by any thread.
 *
 * Lock order: an environment's access lock, then the registry's mutex, then the environment's opening mutex, then its
 * table mutex, then its commit gate. Nobody who has locked pages waits for any of these but the last: Berkeley DB,
 * which breaks deadlocks over pages, cannot see them.
 *
 * An environment is opened and closed without the mutex, as both can take minutes: only those wait who want the same
 * one (see OpeningEnvironments and ClosingEnvironments). Whatever spelling of a directory a name has, it is one
 * environment (see EnvironmentNames); messages show the spelling of the request.
 */
namespace Registry {

/**
 * Finds the environment named `key` (an "env::" name) or, with `create`, opens it in the directory `home` and registers
 * it. Result 0: `env` holds on to it, and has its access lock at hand. 3: not registered and `create` is 0, or it could
 * not be opened. 2: the registry is full; the environment is then open, neither registered nor closed, and stays in
 * `env`. While the same environment is being opened by another thread, this waits for that and shares its failure;
 * while it is being closed, `create` waits for that. An earlier hold of `env` is given back before any waiting.
 */
[[nodiscard]] int openEnv(BDBObjTable* registry, const QString& key, EnvironmentUse* env, int tableCapacity, int create,
                          const QByteArray& home);

/** Registers `env` with a new access lock. Its descriptor, or -1 when the registry is full. The caller holds the mutex.
 */
[[nodiscard]] int registerEnv(BDBObjTable* registry, BDBEnv* env, const QString& key);

/**
 * Takes the access lock of the table's environment and returns it; null when it was not taken. Exclusive: waits as long
 * as needed. Shared: never waits; whoever has an EnvironmentUse takes it from there. An environment without a lock (not
 * open, or removed meanwhile) is one ERROR line.
 */
[[nodiscard]] std::shared_ptr<AccessLock> lockEnv(BDBObjTable* registry, const QByteArray& tableName, bool exclusive);

/** Gives back one hold of this thread on the lock of the table's environment; does nothing when there is none. */
void unlockEnv(BDBObjTable* registry, const QByteArray& tableName);

/** Gives back `lock` and takes it out of the registry, unless another has taken its place there. */
void dropEnvLock(BDBObjTable* registry, const std::shared_ptr<AccessLock>& lock);

/**
 * Takes the table's environment out of the registry, waits until nobody holds on to it and destroys it. The caller
 * holds its access lock exclusively and no EnvironmentUse of it. Does nothing when it is not registered. `held` is that
 * lock, and decides which environment it is: the name may lead to another one since it was taken.
 */
void removeEnv(BDBObjTable* registry, const QByteArray& tableName, const std::shared_ptr<AccessLock>& held = nullptr);

} // namespace Registry

#endif
