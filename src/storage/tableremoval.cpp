#include "storage/tableremoval.h"

#include "format/tablename.h"
#include "storage/bdbenv.h"
#include "storage/bdbindex.h"
#include "storage/bdbtxn.h"
#include "storage/changecount.h"
#include "storage/descriptorreserve.h"
#include "storage/registrykeys.h"
#include "storage/tablefiles.h"

#include <QMutexLocker>

#include <cerrno>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <string_view>
#include <utility>
#include <vector>

namespace TableRemoval {

namespace {

constexpr u_int32_t ReadFlags = DB_THREAD | DB_AUTO_COMMIT;

/** Takes the handle of a database out of the environment's table; null if it is not open. */
std::unique_ptr<BDBIndex> takeHandle(BDBEnv* env, const TableFiles::File& file)
{
    const QMutexLocker locker(&env->mutex());
    const int descriptor = env->names().take(RegistryKeys::database(file.name, file.subDatabase)) & ~ENV_DESC_FLAG;
    if (descriptor < 1)
        return nullptr;
    std::unique_ptr<BDBIndex> handle(static_cast<BDBIndex*>(env->getObject(descriptor, BDBIndexType)));
    env->clearSlot(descriptor);
    return handle;
}

/** Closes the table's handles. Writes their pages: without that, a table that is not removed after all would lose them.
 */
int closeHandles(BDBEnv* env, const QByteArray& filePart, const std::vector<TableFiles::File>& files)
{
    int result = 0;
    for (const TableFiles::File& file : files) {
        env->openTables().remove(filePart, file.database);
        if (const auto handle = takeHandle(env, file)) {
            if (const int rc = handle->close(0); result == 0)
                result = rc;
        }
    }
    return result;
}

/** Counts the records of a file, which nobody has open. */
int count(BDBEnv* env, const TableFiles::File& file, long long* items)
{
    BDBIndex handle(env, DB_CXX_NO_EXCEPTIONS);
    if (const int rc = env->openDatabase(&handle, file.name, file.subDatabase, ReadFlags))
        return rc == ENOENT ? 0 : rc; // a file without the sub-database: its creation was interrupted
    if (env->isOpen(handle.state()))
        return EBUSY;
    DB_BTREE_STAT* statistics = nullptr;
    int rc = handle.stat(nullptr, static_cast<void*>(&statistics), 0);
    if (rc == 0)
        *items += statistics->bt_ndata;
    std::free(statistics);
    const int closed = handle.close(0);
    return rc != 0 ? rc : closed;
}

int removeFiles(BDBEnv* env, const std::vector<TableFiles::File>& files)
{
    const ChangeCount::Change change(&env->descriptionChanges());
    const DescriptorReserve reserve(1);
    if (!reserve.available())
        return EMFILE;
    BDBTxn txn;
    // A lock that is held although nobody uses the table is a fault: an error, instead of a wait that never ends.
    if (const int rc = txn.begin(env, DB_TXN_NOWAIT))
        return rc;
    for (const TableFiles::File& file : files) {
        if (const int rc = env->dbremove(BDBTxn::handleOf(&txn), file.name.constData(), nullptr, 0))
            return rc; // the transaction is aborted
    }
    return txn.commit(DB_TXN_SYNC);
}

} // namespace

int run(BDBEnv* env, const QByteArray& filePart, Part part, Removed* removed)
{
    const std::lock_guard files(env->filesMutex());
    const std::unique_lock gate(env->tableGates().of(filePart));
    const QMutexLocker opening(&env->openingMutex());
    if (env->hasFailedSync())
        return EIO; // before the handles are closed
    std::vector<TableFiles::File> found;
    if (const int rc = TableFiles::find(env, filePart, part == Everything, &found))
        return rc;
    Removed result;
    if (const int rc = closeHandles(env, filePart, found))
        return rc;
    for (const TableFiles::File& file : found) {
        long long records = 0;
        if (const int rc = count(env, file, &records))
            return rc;
        ++result.files;
        result.bytes += file.bytes;
        result.items += std::string_view(file.subDatabase) == TableNames::DataSubDatabase ? records : 0;
    }
    if (!found.empty()) {
        if (const int rc = removeFiles(env, found))
            return rc;
    }
    *removed = result;
    return 0;
}

} // namespace TableRemoval
