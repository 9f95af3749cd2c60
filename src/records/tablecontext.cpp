#include "records/tablecontext.h"

#include "records/descriptionfile.h"
#include "records/encoding.h"
#include "records/requeststatus.h"
#include "storage/bdbenv.h"
#include "storage/bdbobjtable.h"
#include "storage/bdbregistry.h"
#include "storage/environmentpath.h"
#include "storage/openindex.h"
#include "storage/registrykeys.h"

static_assert(OpenTables::Partitions == PartitionCount);

const TableContext::Names& TableContext::namesOf(const QByteArray& tableName)
{
    // An empty name is not a table's, but it has a key like any other.
    if (names_.tableName != tableName || names_.key.isEmpty()) {
        const QByteArray directory = EnvironmentPath::ofTable(tableName);
        names_ = {tableName, directory, Records::filePart(tableName), RegistryKeys::environment(directory)};
    }
    return names_;
}

int TableContext::envLookup(const QByteArray& tableName, int create)
{
    const Names& names = namesOf(tableName);
    if (env() != nullptr && directory_ == names.directory)
        return 0;
    // First, as the lookup may wait for this very environment to be closed, which waits for its last user. A request
    // that reads or writes stays in one environment, so its reply need not wait for a flush here.
    (void)leave();
    if (onlyFinds_) {
        if (!Registry::findEnv(registry_, names.key, &environment_))
            return StatusTakesLong;
    } else if (const int rc = Registry::openEnv(registry_, names.key, &environment_, environmentCapacity_, create,
                                                names.directory)) {
        environment_.reset(); // an environment that could not be registered is not used
        return rc;
    }
    enter(names);
    return 0;
}

/** Records that `environment_` has been found by these names. */
void TableContext::enter(const Names& names)
{
    directory_ = names.directory;
    connection_->setEnv(env());
}

bool TableContext::joinIfOpen(const QByteArray& tableName)
{
    const Names& names = namesOf(tableName);
    (void)leave();
    if (!Registry::findSettledEnv(registry_, names.key, &environment_))
        return false;
    enter(names);
    return true;
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
    const QString key = RegistryKeys::database(file, subDatabase);
    if (onlyFinds_)
        return Registry::findIndex(connection_, key, db) ? StatusSuccess : StatusTakesLong;
    return Registry::openIndex(connection_, key, file, subDatabase, db);
}

/** Like dbOpen, but `db` is null if there is no such file. */
int TableContext::dbOpenExisting(const QByteArray& name, const char* subDatabase, BDBIndex** db)
{
    if (env() == nullptr || !env()->lacksDatabase(Records::filePart(name), subDatabase))
        return dbOpen(name, subDatabase, db);
    *db = nullptr;
    return StatusSuccess;
}

/**
 * Finds a database of the table by its number; if it is not open, runs `open` and adds the database that it opened, if
 * any.
 */
template <typename Open>
int TableContext::openNumbered(const QByteArray& tableName, unsigned database, BDBIndex** db, Open&& open)
{
    const QByteArray& filePart = namesOf(tableName).filePart;
    if (env() != nullptr) {
        if (const int rc = passGate(filePart))
            return rc;
        if (BDBIndex* const found = env()->openTables().find(filePart, database)) {
            *db = found;
            return 0;
        }
    }
    const int rc = open();
    if (rc == 0 && *db != nullptr && env()->openTables().add(filePart, database, *db) && database != OpenTables::Meta &&
        Records::hasDescriptionFile(env(), filePart))
        env()->openTables().noteCreated(filePart);
    return rc;
}

int TableContext::openPartition(const QByteArray& tableName, unsigned partition, BDBIndex** db)
{
    return openNumbered(tableName, partition, db, [&] {
        return dbOpen(Records::dataFileName(tableName, partition), TableNames::DataSubDatabase, db);
    });
}

int TableContext::findPartition(const QByteArray& tableName, unsigned partition, BDBIndex** db)
{
    return openNumbered(tableName, partition, db, [&] {
        return dbOpenExisting(Records::dataFileName(tableName, partition), TableNames::DataSubDatabase, db);
    });
}

int TableContext::openMeta(const QByteArray& tableName, BDBIndex** db)
{
    return openNumbered(tableName, OpenTables::Meta, db,
                        [&] { return dbOpen(tableName, TableNames::MetaSubDatabase, db); });
}

int TableContext::findMeta(const QByteArray& tableName, BDBIndex** db)
{
    if (const int rc = envLookup(tableName, 1))
        return rc;
    return openNumbered(tableName, OpenTables::Meta, db,
                        [&] { return dbOpenExisting(tableName, TableNames::MetaSubDatabase, db); });
}

void TableContext::noteCreated(const QByteArray& tableName)
{
    env()->openTables().noteCreated(namesOf(tableName).filePart);
}

int TableContext::keepFiles(const QByteArray& tableName)
{
    return passGate(namesOf(tableName).filePart);
}

/** Passes the gate of a table, once, until leave(). */
int TableContext::passGate(const QByteArray& filePart)
{
    CommitGate* const gate = &env()->tableGates().of(filePart);
    if (gates_.contains(gate))
        return StatusSuccess;
    if (!onlyFinds_)
        gate->lock_shared();
    else if (!gate->try_lock_shared())
        return StatusTakesLong;
    gates_.append(gate);
    return StatusSuccess;
}

void TableContext::leaveGates()
{
    for (CommitGate* const gate : gates_)
        gate->unlock_shared();
    gates_.clear();
}

EnvironmentUse TableContext::leave()
{
    leaveGates();
    environment_.releaseAccess();
    connection_->setEnv(nullptr);
    directory_.clear();
    return std::move(environment_);
}

void TableContext::reset()
{
    if (env() != nullptr)
        (void)leave();
    onlyFinds_ = false;
    keySchema_.reset();
    if (names_.tableName.size() > UsualNameBytes)
        names_ = {};
}
