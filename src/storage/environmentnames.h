#ifndef QUORVA_STORAGE_ENVIRONMENTNAMES_H
#define QUORVA_STORAGE_ENVIRONMENTNAMES_H

#include "storage/bdbobjtable.h"

#include <QSet>
#include <QString>

#include <memory>

class AccessLock;

/**
 * The names under which a registry knows its environments ("env::" and a directory). One directory is one environment:
 * a name is compared by the directory it leads to, however that is spelled. A spelling that was resolved is remembered,
 * and resolved again once a second at most: when it is a link that was switched, the environment that it led to stays
 * open under its own name.
 *
 * All are called with the registry's mutex held.
 */
namespace EnvironmentNames {

/** What is registered under a name. */
struct Registered {
    int descriptor = 0; // 0: nothing
    std::shared_ptr<AccessLock> access;
};

/** Enters the name of a directory, and the access lock of the environment in it. */
void add(BDBObjTable* registry, const QString& key, int descriptor, const std::shared_ptr<AccessLock>& access);

/** What is registered in the directory that a name leads to, however it is spelled. */
Registered find(BDBObjTable* registry, const QString& key);

/** The access lock behind a name, or null; there is one until forgetAccess(), also when the environment is gone. */
std::shared_ptr<AccessLock> findAccess(BDBObjTable* registry, const QString& key);

/** Takes all names of a descriptor out and returns them. Their locks stay, see forgetAccess(). */
QSet<QString> forget(BDBObjTable* registry, int descriptor);

/** Takes an access lock out, under all names that it has. */
void forgetAccess(BDBObjTable* registry, const std::shared_ptr<AccessLock>& access);

} // namespace EnvironmentNames

#endif
