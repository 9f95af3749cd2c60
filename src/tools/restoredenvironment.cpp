#include "tools/restoredenvironment.h"

#include "format/backupnames.h"
#include "format/tablename.h"
#include "tools/interruption.h"

#include <db_cxx.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <memory>
#include <system_error>

namespace fs = std::filesystem;

namespace Ctl {

namespace {

constexpr u_int32_t CacheBytes = 64 * 1024 * 1024;
constexpr u_int32_t LogOnlyFlags = DB_CREATE | DB_INIT_LOG | DB_PRIVATE;
constexpr u_int32_t EnvironmentFlags = LogOnlyFlags | DB_INIT_LOCK | DB_INIT_MPOOL | DB_INIT_TXN;

// Berkeley DB's record of the end of a transaction: its type, transaction and previous record, then these.
constexpr std::uint32_t EndOfTransaction = 10;
constexpr std::size_t OutcomeOffset = 16;
constexpr std::uint32_t Committed = 1;
constexpr std::size_t TimeOffset = 20; // seconds since 1970

std::string describe(const std::string& what, int rc)
{
    return what + ": " + DbEnv::strerror(rc);
}

void ignoreMessage(const DbEnv*, const char*, const char*) {} // our own messages say what went wrong

/**
 * Opens the environment whose files are in `directory`; closed by its destructor. Null with `error` set on failure.
 *
 * Its home is a directory that is not there, so that no DB_CONFIG is read: neither the one that keeps servers out of an
 * unfinished restore, nor anybody's settings.
 */
std::unique_ptr<DbEnv> openEnvironment(const fs::path& directory, u_int32_t flags, std::string* error)
{
    auto env = std::make_unique<DbEnv>(DB_CXX_NO_EXCEPTIONS);
    env->set_errcall(ignoreMessage);
    std::error_code ignored;
    const fs::path absolute = fs::absolute(directory, ignored);
    // None of these can fail before the environment is open.
    (void)env->set_cachesize(0, CacheBytes, 1);
    (void)env->set_data_dir(absolute.c_str());
    (void)env->set_lg_dir(absolute.c_str());
    (void)env->set_intermediate_dir_mode("rwx------"); // tables may have directories in their names
    const int rc = env->open((absolute / "no-home").c_str(), flags, 0);
    if (rc == 0)
        return env;
    *error = describe("recovery fails", rc);
    (void)env->close(0);
    return nullptr;
}

/** The numbers of the log files in a directory, in ascending order. */
std::vector<std::uint32_t> logNumbers(const fs::path& directory)
{
    std::vector<std::uint32_t> numbers;
    std::error_code error;
    for (fs::directory_iterator entry(directory, error); !error && entry != fs::directory_iterator();
         entry.increment(error)) {
        if (const auto number = BackupNames::logNumber(entry->path().filename().string()))
            numbers.push_back(*number);
    }
    std::sort(numbers.begin(), numbers.end());
    return numbers;
}

/** What a log file begins with: in front of it the header of a record, as in front of all records. */
struct LogFileHeader {
    std::uint32_t magic;
    std::uint32_t version;
    std::uint32_t fullSize;
    std::uint32_t unused;
};
constexpr std::uint32_t LogMagic = 0x040988;
constexpr std::size_t RecordHeaderBytes = 12; // where the record before is, the length, a checksum

bool readHeader(const fs::path& file, LogFileHeader* header)
{
    std::ifstream stream(file, std::ios::binary);
    stream.seekg(RecordHeaderBytes);
    char bytes[sizeof *header];
    stream.read(bytes, sizeof bytes);
    std::memcpy(header, bytes, sizeof bytes);
    return stream.good() && header->magic == LogMagic;
}

/** The first record of a log file says where the last one of the file before it is. */
bool followsOn(DbLogc* cursor, std::uint32_t number, std::uint32_t* lastOfBefore)
{
    DbLsn position;
    position.file = number;
    position.offset = 0;
    Dbt record;
    if (cursor->get(&position, &record, DB_SET) != 0 || cursor->get(&position, &record, DB_PREV) != 0 ||
        position.file != number - 1)
        return false;
    *lastOfBefore = position.offset;
    return true;
}

/** Where the last record of each log file but the last begins, by the file's number. */
using LastRecords = std::map<std::uint32_t, std::uint32_t>;

/**
 * Reads all records in order. A record that is no more than zeros ends its file for Berkeley DB, in silence, and one
 * with a wrong checksum in the last file ends the log.
 */
std::string readRecords(DbLogc* cursor, const std::vector<std::uint32_t>& numbers, const LastRecords& lastRecords,
                        std::uint64_t* end)
{
    const auto isLastRecord = [&](const DbLsn& position) {
        const auto last = lastRecords.find(position.file);
        return last == lastRecords.end() || last->second == position.offset;
    };
    constexpr std::uint64_t Begin = RecordHeaderBytes + sizeof(LogFileHeader);
    const auto damaged = [](std::uint32_t number, std::uint64_t from) {
        return BackupNames::logFile(number) + " is damaged: its records cannot be read from byte " +
               std::to_string(from) + " on";
    };
    DbLsn position;
    DbLsn before;
    before.file = numbers.front();
    before.offset = 0;
    *end = Begin;
    Dbt record;
    int rc = cursor->get(&position, &record, DB_FIRST);
    for (; rc == 0 && !Interruption::requested(); rc = cursor->get(&position, &record, DB_NEXT)) {
        if (position.file != before.file && !isLastRecord(before))
            return damaged(before.file, *end);
        before = position;
        *end = position.offset + RecordHeaderBytes + record.get_size();
    }
    if (Interruption::requested())
        return {};
    if (before.file == numbers.back())
        return rc == DB_NOTFOUND ? std::string() : damaged(before.file, *end);
    if (!isLastRecord(before))
        return damaged(before.file, *end);
    *end = Begin;
    return rc == DB_NOTFOUND && before.file + 1 == numbers.back() ? std::string() : damaged(before.file + 1, Begin);
}

std::uint32_t numberAt(const Dbt& record, std::size_t offset)
{
    std::uint32_t number = 0;
    std::memcpy(&number, static_cast<const char*>(record.get_data()) + offset, sizeof number);
    return number;
}

bool isCommit(const Dbt& record)
{
    return record.get_size() >= TimeOffset + sizeof(std::uint32_t) && numberAt(record, 0) == EndOfTransaction &&
           numberAt(record, OutcomeOffset) == Committed;
}

std::optional<std::time_t> timeOfLastCommit(DbLogc* cursor)
{
    DbLsn position;
    Dbt record;
    for (u_int32_t step = DB_LAST; cursor->get(&position, &record, step) == 0; step = DB_PREV) {
        if (isCommit(record))
            return static_cast<std::time_t>(numberAt(record, TimeOffset));
    }
    return std::nullopt;
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
    while (!Interruption::requested() && (rc = cursor->get(&key, &data, DB_NEXT)) == 0)
        ++*records;
    (void)cursor->close();
    return rc == DB_NOTFOUND ? 0 : rc;
}

} // namespace

std::string readLog(const fs::path& home, LogFacts* facts)
{
    const std::vector<std::uint32_t> numbers = logNumbers(home);
    for (const std::uint32_t number : numbers) {
        LogFileHeader header = {};
        if (!readHeader(home / BackupNames::logFile(number), &header))
            return BackupNames::logFile(number) + " is damaged: it does not begin as a log file does";
        facts->fullSize = header.fullSize;
    }
    std::string error;
    const auto env = openEnvironment(home, LogOnlyFlags, &error);
    if (!env)
        return error;
    DbLogc* cursor = nullptr;
    if (const int rc = env->log_cursor(&cursor, 0))
        return describe("cannot read the log", rc);
    LastRecords lastRecords;
    for (std::size_t i = 1; i < numbers.size() && !facts->partial; ++i) {
        if (!followsOn(cursor, numbers[i], &lastRecords[numbers[i] - 1]))
            facts->partial = numbers[i] - 1;
    }
    if (!facts->partial) {
        facts->lastCommit = timeOfLastCommit(cursor);
        error = readRecords(cursor, numbers, lastRecords, &facts->end);
    }
    (void)cursor->close(0);
    const int rc = env->close(0); // where a record is missing, Berkeley DB gives the whole environment up
    if (!error.empty())
        return error;
    return rc == 0 || facts->partial ? std::string() : describe("cannot read the log", rc);
}

std::string recoverEnvironment(const fs::path& home)
{
    std::string error;
    if (const auto env = openEnvironment(home, EnvironmentFlags | DB_RECOVER_FATAL, &error)) {
        // The next opening recovers from this checkpoint, not from the first log file again.
        int rc = env->txn_checkpoint(0, 0, DB_FORCE);
        if (rc == 0)
            rc = env->close(0);
        if (rc != 0)
            return describe("recovery fails", rc);
    }
    return error;
}

std::vector<fs::path> databaseFiles(const fs::path& home)
{
    std::vector<fs::path> files;
    std::error_code error;
    for (fs::recursive_directory_iterator entry(home, error); !error && entry != fs::recursive_directory_iterator();
         entry.increment(error)) {
        const fs::path name = entry->path().lexically_relative(home);
        if (entry->is_regular_file(error) && !BackupNames::logNumber(name.string()) && name != "DB_CONFIG")
            files.push_back(name);
    }
    std::sort(files.begin(), files.end());
    return files;
}

std::string verifyDatabases(const fs::path& home, const std::function<void(std::size_t, std::size_t)>& progress)
{
    const std::vector<fs::path> files = databaseFiles(home);
    for (std::size_t i = 0; i < files.size(); ++i) {
        progress(i, files.size());
        if (Interruption::requested())
            return {};
        Db db(nullptr, DB_CXX_NO_EXCEPTIONS); // a Db can verify one file only, and is closed by that
        db.set_errcall(ignoreMessage);
        if (const int rc = db.verify((home / files[i]).c_str(), nullptr, nullptr, 0))
            return describe(files[i].string() + " is damaged", rc);
    }
    progress(files.size(), files.size());
    return {};
}

std::string countItems(const fs::path& home, std::map<std::string, long long>* items)
{
    std::string error;
    const auto env = openEnvironment(home, EnvironmentFlags | DB_RECOVER, &error);
    if (!env)
        return error;
    for (const fs::path& name : databaseFiles(home)) {
        const std::string& file = name.string();
        int rc = 0;
        if (const auto meta = openDatabase(env.get(), file, TableNames::MetaSubDatabase, &rc)) {
            (*items)[file]; // a table, though it may have no items yet
            (void)meta->close(0);
        }
        if (rc == 0) {
            if (const auto data = openDatabase(env.get(), file, TableNames::DataSubDatabase, &rc)) {
                rc = countRecords(data.get(), &(*items)[std::string(TableNames::ofDataFile(file))]);
                (void)data->close(0);
            }
        }
        if (rc != 0)
            return describe("cannot read " + file, rc);
    }
    if (const int rc = env->close(0))
        return describe("cannot write the last pages", rc);
    return {};
}

} // namespace Ctl
