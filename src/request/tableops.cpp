#include "request/tableops.h"

#include "format/tablename.h"
#include "log/log.h"
#include "records/recordops.h"
#include "records/requeststatus.h"
#include "records/schema.h"
#include "request/adminops.h"
#include "request/bdbrequest.h"
#include "storage/bdbregistry.h"
#include "storage/deadlockretry.h"
#include "storage/environmentpath.h"
#include "json/jsonwriter.h"

#include <filesystem>
#include <system_error>

using namespace Qt::StringLiterals;

namespace {

// Kept: fixed values where a reader expects a clock reading and a count. Clients compare whole descriptions.
constexpr int CreationDateTime = 123456;
constexpr int ItemCount = 1;

bool isDirectory(const QByteArray& path)
{
    std::error_code error;
    return !path.isEmpty() && !path.contains('\0') && std::filesystem::is_directory(path.toStdString(), error);
}

/** The total size of all files below `path`; files that cannot be read, or do not exist, count as 0. */
qlonglong directorySize(const QByteArray& path, bool recursive)
{
    namespace fs = std::filesystem;
    if (path.isEmpty() || path.contains('\0'))
        return 0;
    constexpr auto options = fs::directory_options::skip_permission_denied;
    qlonglong sum = 0;
    std::error_code error;
    fs::recursive_directory_iterator entry(path.toStdString(), options, error);
    for (; !error && entry != fs::recursive_directory_iterator(); entry.increment(error)) {
        if (!recursive)
            entry.disable_recursion_pending();
        std::error_code vanished; // files come and go while we walk
        if (!entry->is_regular_file(vanished))
            continue;
        const auto size = entry->file_size(vanished);
        if (!vanished)
            sum += static_cast<qlonglong>(size);
    }
    return sum;
}

} // namespace

int Requests::createTable(BDBRequest& request)
{
    const QByteArray tableName = request.tableName();
    if (const int rc = request.table.openTable(tableName))
        return rc;
    BDBIndex* db = nullptr;
    if (const int rc = request.table.openMeta(tableName, &db))
        return rc;

    const QVariantMap description{
        {"CreationDateTime", CreationDateTime},
        {"KeySchema", request.parsedBody.value("KeySchema"_L1).toMap()},
        {"ProvisionedThroughput", request.parsedBody.value("ProvisionedThroughput"_L1).toMap()},
        {"TableName", request.parsedBody.value("TableName"_L1).toString()},
        {"TableStatus", "ACTIVE"},
    };
    // Kept: even if the table exists, so a second CreateTable replaces the description and leaves the items.
    BDBEnv* const env = request.table.env();
    const QByteArray stored = Json::serialize(description);
    const int rc =
        Deadlocks::retry([&] { return Records::putDb(env, db, Records::schemaRecordKey(), stored, nullptr, nullptr); },
                         [](int backoff) { LOG_WARN << "createTable Got deadlock retry" << backoff; });
    if (rc != 0)
        return rc;
    request.table.noteCreated(tableName);
    const int flushed = flushEnv(env);
    request.reply.insert(u"TableDescription"_s, description);
    return flushed;
}

int Requests::describeTable(BDBRequest& request)
{
    const QByteArray tableName = request.tableName();
    const QByteArray directory = EnvironmentPath::ofTable(tableName);
    if (!isDirectory(directory)) {
        LOG_ERROR(LogOrigin::Request, __LINE__) << "path " << directory << " does not exist ";
        return StatusNotFound;
    }
    QVariantMap description;
    const int rc = Records::loadSchema(request.table, tableName, &description, false);
    const qlonglong bytes = directorySize(tableName, true); // Kept: of the whole name, so 0 for one with a "|"
    if (!description.isEmpty()) {
        description.insert(u"ItemCount"_s, ItemCount);
        description.insert(u"TableName"_s, request.parsedBody.value("TableName"_L1).toString());
        description.insert(u"TableSizeBytes"_s, bytes);
        request.reply.insert(u"Table"_s, description);
    }
    return rc;
}

int Requests::deleteTable(BDBRequest& request)
{
    // Kept: succeeds for names that never existed, and deletes no file: it closes and forgets the environment, for all
    // of its tables.
    const QByteArray tableName = request.tableName();
    TableContext& table = request.table;
    if (table.envLookup(tableName, 0) != 0)
        return StatusSuccess;
    (void)table.leave(); // before waiting: two deletes would deadlock
    const auto lock = Registry::lockEnv(table.registry(), tableName, true);
    if (!lock)
        return StatusSuccess; // another delete was faster
    Registry::removeEnv(table.registry(), tableName, lock);
    Registry::dropEnvLock(table.registry(), lock);
    return StatusSuccess;
}

int Requests::updateTable(BDBRequest& request)
{
    const QByteArray tableName = request.tableName();
    const QVariantMap actions = request.parsedBody.value("ProvisionedThroughput"_L1).toMap();
    if (const int rc = request.table.openTable(tableName))
        return rc;
    const int rc =
        runAdminAction(request.table.env(), tableName, actions); // Kept: the throughput itself is stored nowhere
    request.reply.insert(u"TableDescription"_s, QVariantMap{{"TableStatus", "ACTIVE"}});
    return rc;
}
