#ifndef QUORVA_STORAGE_ENVIRONMENTNAMES_H
#define QUORVA_STORAGE_ENVIRONMENTNAMES_H

#include "storage/bdbobjtable.h"

#include <QSet>
#include <QString>

#include <memory>

class AccessLock;

/**
 * The names under which a registry knows its environments ("env::" and a directory). One directory is one environment:
 * names are compared by the directory they resolve to. A resolved spelling is cached, and resolved again at most once a
 * second: if it is a link that was switched, its previous environment stays open under its own name.
 *
 * The caller holds the registry's mutex.
 */
namespace EnvironmentNames {

/** What is registered under a name. */
struct Registered {
    int descriptor = 0; // 0: nothing
    std::shared_ptr<AccessLock> access;
};

/** Registers the name of a directory, with the access lock of its environment. */
void add(BDBObjTable* registry, const QString& key, int descriptor, const std::shared_ptr<AccessLock>& access);

/** What is registered for the directory that a name resolves to. */
Registered find(BDBObjTable* registry, const QString& key);

/** The access lock behind a name, or null. It stays until forgetAccess(), even when the environment is gone. */
std::shared_ptr<AccessLock> findAccess(BDBObjTable* registry, const QString& key);

/** Removes all names of a descriptor and returns them. Their locks stay, see forgetAccess(). */
QSet<QString> forget(BDBObjTable* registry, int descriptor);

/** Removes an access lock under all of its names. */
void forgetAccess(BDBObjTable* registry, const std::shared_ptr<AccessLock>& access);

} // namespace EnvironmentNames

#endif
