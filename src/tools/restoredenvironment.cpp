#include "tools/restoredenvironment.h"

#include <db_cxx.h>

#include <memory>
#include <system_error>

namespace fs = std::filesystem;

namespace Ctl {

namespace {

constexpr u_int32_t CacheBytes = 64 * 1024 * 1024;
constexpr u_int32_t EnvironmentFlags =
    DB_CREATE | DB_INIT_LOCK | DB_INIT_LOG | DB_INIT_MPOOL | DB_INIT_TXN | DB_PRIVATE;

std::string describe(const std::string& what, int rc)
{
    return what + ": " + DbEnv::strerror(rc);
}

void ignoreMessage(const DbEnv*, const char*, const char*) {} // our own messages say what went wrong

/** Opens the environment with further flags; closed by its destructor. Null with `error` set on failure. */
std::unique_ptr<DbEnv> openEnvironment(const fs::path& home, u_int32_t flags, std::string* error)
{
    auto env = std::make_unique<DbEnv>(DB_CXX_NO_EXCEPTIONS);
    env->set_errcall(ignoreMessage);
    (void)env->set_cachesize(0, CacheBytes, 1); // cannot fail before the environment is open
    const int rc = env->open(home.c_str(), EnvironmentFlags | flags, 0);
    if (rc == 0)
        return env;
    *error = describe("cannot recover " + home.string(), rc);
    (void)env->close(0);
    return nullptr;
}

/** True for the ten digits behind "log.". */
bool isLogFile(const std::string& name)
{
    return name.starts_with("log.") && name.size() == 14 &&
           name.find_first_not_of("0123456789", 4) == std::string::npos;
}

/** The table that a data file "NAME_3f.db" belongs to. */
std::string tableOf(const std::string& dataFile)
{
    constexpr std::size_t SuffixLength = 6; // "_3f.db"
    return dataFile.size() > SuffixLength ? dataFile.substr(0, dataFile.size() - SuffixLength) : dataFile;
}

/** Opens a sub-database for reading. Null when the file has none of that name; `rc` tells of other failures. */
std::unique_ptr<Db> openDatabase(DbEnv* env, const std::string& file, const char* name, int* rc)
{
    auto db = std::make_unique<Db>(env, DB_CXX_NO_EXCEPTIONS);
    db->set_errcall(ignoreMessage);
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
    // A part of no bytes into memory of no bytes: nothing of either is wanted, and nothing is allocated.
    key.set_flags(DB_DBT_PARTIAL | DB_DBT_USERMEM);
    data.set_flags(DB_DBT_PARTIAL | DB_DBT_USERMEM);
    int rc = 0;
    while ((rc = cursor->get(&key, &data, DB_NEXT)) == 0)
        ++*records;
    (void)cursor->close();
    return rc == DB_NOTFOUND ? 0 : rc;
}

} // namespace

std::string recoverEnvironment(const fs::path& home)
{
    std::string error;
    if (const auto env = openEnvironment(home, DB_RECOVER_FATAL, &error)) {
        // The next opening recovers from this checkpoint, not from the first log file again.
        int rc = env->txn_checkpoint(0, 0, DB_FORCE);
        if (rc == 0)
            rc = env->close(0);
        if (rc != 0)
            return describe("cannot recover " + home.string(), rc);
    }
    return error;
}

std::vector<fs::path> databaseFiles(const fs::path& home)
{
    std::vector<fs::path> files;
    std::error_code error;
    for (fs::directory_iterator entry(home, error); !error && entry != fs::directory_iterator();
         entry.increment(error)) {
        if (!isLogFile(entry->path().filename().string()))
            files.push_back(entry->path());
    }
    return files;
}

std::string verifyDatabases(const fs::path& home, const std::function<void(std::size_t, std::size_t)>& progress)
{
    const std::vector<fs::path> files = databaseFiles(home);
    for (std::size_t i = 0; i < files.size(); ++i) {
        progress(i, files.size());
        Db db(nullptr, DB_CXX_NO_EXCEPTIONS); // a Db can verify one file only, and is closed by that
        db.set_errcall(ignoreMessage);
        if (const int rc = db.verify(files[i].c_str(), nullptr, nullptr, 0))
            return describe(files[i].string() + " is damaged", rc);
    }
    progress(files.size(), files.size());
    return {};
}

std::string countItems(const fs::path& home, std::map<std::string, long long>* items)
{
    std::string error;
    const auto env = openEnvironment(home, DB_RECOVER, &error);
    if (!env)
        return error;
    for (const fs::path& path : databaseFiles(home)) {
        const std::string file = path.filename().string();
        int rc = 0;
        if (const auto meta = openDatabase(env.get(), file, "meta", &rc)) {
            (*items)[file]; // a table, though it may have no items yet
            (void)meta->close(0);
        }
        if (rc == 0) {
            if (const auto data = openDatabase(env.get(), file, "data", &rc)) {
                rc = countRecords(data.get(), &(*items)[tableOf(file)]);
                (void)data->close(0);
            }
        }
        if (rc != 0)
            return describe("cannot read " + path.string(), rc);
    }
    if (const int rc = env->close(0))
        return describe("cannot close " + home.string(), rc);
    return {};
}

} // namespace Ctl
