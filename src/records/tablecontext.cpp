#include "records/tablecontext.h"

#include "records/encoding.h"
#include "records/requeststatus.h"
#include "storage/bdbobjtable.h"
#include "storage/bdbregistry.h"
#include "storage/environmentpath.h"
#include "storage/openindex.h"
#include "storage/registrykeys.h"

int TableContext::envLookup(const QByteArray& tableName, int create)
{
    const QByteArray directory = EnvironmentPath::ofTable(tableName);
    if (env() != nullptr && directory_ == directory)
        return 0;
    // First, as the lookup may wait for this very environment to be closed, which waits for its last user.
    leave();
    EnvironmentUse found;
    if (const int rc = Registry::openEnv(registry_, RegistryKeys::environment(directory), &found, environmentCapacity_,
                                         create, directory))
        return rc;
    environment_ = std::move(found);
    directory_ = directory;
    connection_->setEnv(env());
    return 0;
}

int TableContext::openTable(const QByteArray& tableName)
{
    if (const int rc = envLookup(tableName, 1))
        return rc;
    return environment_.shareAccess() ? StatusSuccess : StatusNotFound;
}

int TableContext::dbOpen(const QByteArray& name, const char* subDatabase, BDBIndex** db)
{
    const QByteArray file = Records::filePart(name);
    return Registry::openIndex(connection_, RegistryKeys::database(file, subDatabase), file, subDatabase, db);
}

int TableContext::openPartition(const QByteArray& tableName, unsigned partition, BDBIndex** db)
{
    return dbOpen(Records::dataFileName(tableName, partition), TableNames::DataSubDatabase, db);
}

void TableContext::leave()
{
    connection_->setEnv(nullptr);
    environment_.reset();
    directory_.clear();
}
