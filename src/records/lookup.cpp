#include "records/lookup.h"

#include "records/encoding.h"
#include "storage/bdbenv.h"
#include "storage/bdbregistry.h"
#include "storage/environmentpath.h"
#include "storage/openindex.h"

int envLookup(BDBRequest& request, const QByteArray& tableName, int create)
{
    const QByteArray directory = environmentDirectory(tableName);
    if (request.environment.env() != nullptr && request.environmentDirectory == directory)
        return 0;
    // First, as the lookup may wait for this very environment to be closed, which waits until nobody holds on to it.
    dropEnvironment(request);
    EnvironmentUse found;
    if (const int rc = Registry::openEnv(request.registry, environmentKey(directory), &found, request.envTableCapacity,
                                         create, directory))
        return rc;
    request.environment = std::move(found);
    request.environmentDirectory = directory;
    request.connectionTable->setEnv(request.environment.env());
    return 0;
}

void dropEnvironment(BDBRequest& request)
{
    request.connectionTable->setEnv(nullptr);
    request.environment.reset();
    request.environmentDirectory.clear();
}

int dbOpen(BDBRequest& request, const QByteArray& name, const char* subDatabase, BDBIndex** db)
{
    const QByteArray file = filePart(name);
    const QString key = QString::fromUtf8("db::" + file + ":" + subDatabase);
    return Registry::openIndex(request.connectionTable, key, file, subDatabase, db);
}
