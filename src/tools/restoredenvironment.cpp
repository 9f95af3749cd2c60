#include "tools/restoredenvironment.h"

#include "format/berkeleydbnames.h"
#include "format/logfiles.h"
#include "format/tablename.h"
#include "tools/interruption.h"
#include "tools/offlineenvironment.h"

#include <db_cxx.h>

#include <algorithm>
#include <memory>
#include <system_error>
#include <vector>

namespace fs = std::filesystem;

namespace Ctl {

namespace {

/** Returns sorted names relative to the directory, which may contain directories. */
std::vector<fs::path> databaseFiles(const fs::path& home)
{
    std::vector<fs::path> files;
    std::error_code error;
    for (fs::recursive_directory_iterator entry(home, error); !error && entry != fs::recursive_directory_iterator();
         entry.increment(error)) {
        const fs::path name = entry->path().lexically_relative(home);
        if (entry->is_regular_file(error) && !LogFiles::numberOf(name.string()) && name != BerkeleyDbNames::ConfigFile)
            files.push_back(name);
    }
    std::sort(files.begin(), files.end());
    return files;
}

/** Opens a sub-database for reading. Returns null when the file has none of that name; `rc` reports other failures. */
std::unique_ptr<Db> openDatabase(DbEnv* env, const std::string& file, const char* name, int* rc)
{
    auto db = std::make_unique<Db>(env, DB_CXX_NO_EXCEPTIONS);
    db->set_errcall(OfflineEnvironment::ignoreMessage);
    *rc = db->open(nullptr, file.c_str(), name, DB_BTREE, DB_RDONLY, 0);
    if (*rc == 0)
        return db;
    if (*rc == ENOENT)
        *rc = 0;
    (void)db->close(0);
    return nullptr;
}

int countRecords(Db* db, long long* records)
{
    Dbc* cursor = nullptr;
    if (const int rc = db->cursor(nullptr, &cursor, 0))
        return rc;
    Dbt key;
    Dbt data;
    // Partial reads of no bytes into user memory of no bytes: neither key nor data is needed, and nothing is allocated.
    key.set_flags(DB_DBT_PARTIAL | DB_DBT_USERMEM);
    data.set_flags(DB_DBT_PARTIAL | DB_DBT_USERMEM);
    int rc = 0;
    while (!Interruption::requested() && (rc = cursor->get(&key, &data, DB_NEXT)) == 0)
        ++*records;
    (void)cursor->close();
    return rc == DB_NOTFOUND ? 0 : rc;
}

} // namespace

std::string recoverEnvironment(const fs::path& home, const fs::path& logs)
{
    constexpr u_int32_t Flags = OfflineEnvironment::Transactional | DB_RECOVER_FATAL;
    std::string error;
    if (const auto env = OfflineEnvironment::open(home, logs, Flags, &error)) {
        // The next open recovers from this checkpoint, not from the first log file again.
        int rc = env->txn_checkpoint(0, 0, DB_FORCE);
        if (rc == 0)
            rc = env->close(0);
        if (rc != 0)
            return OfflineEnvironment::describe("recovery failed", rc);
    }
    return error;
}

std::string verifyDatabases(const fs::path& home, const std::function<void(std::size_t, std::size_t)>& progress)
{
    const std::vector<fs::path> files = databaseFiles(home);
    for (std::size_t i = 0; i < files.size(); ++i) {
        progress(i, files.size());
        if (Interruption::requested())
            return {};
        Db db(nullptr, DB_CXX_NO_EXCEPTIONS); // a Db can verify only one file, which closes it
        db.set_errcall(OfflineEnvironment::ignoreMessage);
        if (const int rc = db.verify((home / files[i]).c_str(), nullptr, nullptr, 0))
            return OfflineEnvironment::describe(files[i].string() + " is damaged", rc);
    }
    progress(files.size(), files.size());
    return {};
}

std::string countItems(const fs::path& home, std::map<std::string, long long>* items)
{
    std::string error;
    const auto env = OfflineEnvironment::open(home, OfflineEnvironment::Transactional | DB_RECOVER, &error);
    if (!env)
        return error;
    for (const fs::path& name : databaseFiles(home)) {
        const std::string& file = name.string();
        int rc = 0;
        if (const auto meta = openDatabase(env.get(), file, TableNames::MetaSubDatabase, &rc)) {
            (*items)[file]; // a table, possibly without items
            (void)meta->close(0);
        }
        if (rc == 0) {
            if (const auto data = openDatabase(env.get(), file, TableNames::DataSubDatabase, &rc)) {
                rc = countRecords(data.get(), &(*items)[std::string(TableNames::ofDataFile(file))]);
                (void)data->close(0);
            }
        }
        if (rc != 0)
            return OfflineEnvironment::describe("cannot read " + file, rc);
    }
    if (const int rc = env->close(0))
        return OfflineEnvironment::describe("cannot write the last pages", rc);
    return {};
}

} // namespace Ctl
