#ifndef QUORVA_STORAGE_DATABASEOPENING_H
#define QUORVA_STORAGE_DATABASEOPENING_H

#include "storage/descriptorreserve.h"
#include "storage/directoryclaims.h"
#include "storage/madedirectories.h"

#include <QByteArray>

#include <optional>

class BDBEnv;
class EnvironmentDirectories;

/**
 * What must be checked, created and locked before Berkeley DB opens a database file: the file itself, the descriptors,
 * and the directories on its path. Lives on the stack around one open; undoes what it created and locked unless keep()
 * is called. Guarded by the environment's opening mutex.
 */
class DatabaseOpening {
public:
    /** Neither is owned. */
    DatabaseOpening(const EnvironmentDirectories& directories, DirectoryClaims* claims)
        : directories_(directories), claims_(*claims), attempt_(claims)
    {}

    /** Call once. 0, or the errno values and codes of BDBEnv::openDatabase(). */
    [[nodiscard]] int prepare(BDBEnv* env, const QByteArray& file, bool create);

    /** The database is open. */
    void keep();

private:
    int look(BDBEnv* env, const QByteArray& file, bool* isThere, int* descriptors) const;

    const EnvironmentDirectories& directories_;
    DirectoryClaims& claims_;
    std::optional<DescriptorReserve> reserve_;
    MadeDirectories made_; // removed after the claims on them have been released
    DirectoryClaims::Attempt attempt_;
};

#endif
