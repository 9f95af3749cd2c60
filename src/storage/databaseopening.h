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
 * What has to be looked at, made and held before Berkeley DB opens a database file: the file itself, the descriptors,
 * and the directories on the way to it. Made on the stack around one opening; takes back what it made and holds unless
 * that is kept. Guarded by the environment's opening mutex.
 */
class DatabaseOpening {
public:
    /** Neither is owned. */
    DatabaseOpening(const EnvironmentDirectories& directories, DirectoryClaims* claims)
        : directories_(directories), claims_(*claims), attempt_(claims)
    {}

    /** Once. 0, or the errno values and codes that BDBEnv::openDatabase() names. */
    [[nodiscard]] int prepare(BDBEnv* env, const QByteArray& file, bool create);

    /** The database is open. */
    void keep();

private:
    int look(BDBEnv* env, const QByteArray& file, bool* isThere, int* descriptors) const;

    const EnvironmentDirectories& directories_;
    DirectoryClaims& claims_;
    std::optional<DescriptorReserve> reserve_;
    MadeDirectories made_; // removed after the claims on them have been given back
    DirectoryClaims::Attempt attempt_;
};

#endif
