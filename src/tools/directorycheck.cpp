#include "tools/directorycheck.h"

#include "base/descriptor.h"
#include "base/directoryentries.h"
#include "base/fileio.h"
#include "format/backupnames.h"
#include "format/berkeleydbnames.h"
#include "format/databasepage.h"
#include "format/logfiles.h"
#include "format/logrecords.h"
#include "format/partitions.h"
#include "format/tablename.h"
#include "protocol/bodies.h"
#include "tools/interruption.h"
#include "tools/offlineenvironment.h"
#include "tools/restoretarget.h"
#include "json/jsonreader.h"

#include <db_cxx.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <memory>
#include <optional>
#include <set>
#include <string_view>
#include <system_error>
#include <utility>

#include <fcntl.h>

namespace fs = std::filesystem;

namespace Ctl {

namespace {

constexpr std::size_t LargestItem = 512 * 1024; // a larger one is written, but cannot be read back
constexpr const char* DescriptionKey = "0011tableschema";
constexpr std::size_t ShownKeyBytes = 80;

std::string firstMessage; // of Berkeley DB about the file that is being verified

void keepMessage(const DbEnv*, const char*, const char* message)
{
    if (firstMessage.empty())
        firstMessage = message;
}

bool isDatabase(const fs::path& file)
{
    DatabasePage::Start start;
    std::size_t got = 0;
    const Base::Descriptor descriptor(::open(file.c_str(), O_RDONLY | O_CLOEXEC));
    return descriptor.isOpen() && Base::readAt(descriptor.number(), 0, &start, sizeof start, &got) == 0 &&
           got == sizeof start && DatabasePage::isMagic(start.magic);
}

bool isDataFile(const std::string& name)
{
    return TableNames::ofDataFile(name) != name;
}

unsigned partitionOf(const std::string& dataFile)
{
    unsigned partition = 0;
    const char* const digits = dataFile.data() + TableNames::ofDataFile(dataFile).size() + 1;
    std::from_chars(digits, digits + 2, partition, 16);
    return partition;
}

/** A record's key for a message: bytes that are not ASCII text as in "\xe4", cut off where it is long. */
std::string shown(const std::string& key)
{
    std::string text;
    for (const char c : key.substr(0, ShownKeyBytes)) {
        char escaped[8];
        const bool isText = c >= ' ' && c < '\x7f' && c != '"' && c != '\\';
        std::snprintf(escaped, sizeof escaped, isText ? "%c" : "\\x%02x", static_cast<unsigned char>(c));
        text += escaped;
    }
    return '"' + text + (key.size() > ShownKeyBytes ? "...\"" : "\"");
}

bool hasKeys(const QVariantMap& description)
{
    const KeyNames keys = Bodies::keyNames(description);
    return !keys.hash.isEmpty() && !keys.range.isEmpty();
}

} // namespace

DirectoryCheck::DirectoryCheck(fs::path directory, fs::path above, Report report, Progress progress)
    : directory_(std::move(directory)), above_(std::move(above)), report_(std::move(report)),
      progress_(std::move(progress))
{}

std::string DirectoryCheck::run()
{
    if (std::string error = lookAt(); !error.empty())
        return error;
    std::vector<std::string> names = logs_;
    names.insert(names.end(), databases_.begin(), databases_.end());
    const auto copying = [&](std::size_t done, std::size_t all) { progress_("copying", done, all); };
    if (std::string error = copy_.make(directory_, names, above_, copying); !error.empty())
        return error;
    if (!logs_.empty() && !Interruption::requested()) {
        findMissing();
        recover();
    }
    for (std::size_t i = 0; i < databases_.size() && !Interruption::requested(); ++i) {
        progress_("checking", i, databases_.size());
        checkFile(databases_[i]);
    }
    for (const auto& [table, content] : tables_) {
        if (content.items > 0 && !described_[table])
            find(table + ": the table has items, but no description");
    }
    return Interruption::requested() ? "interrupted" : std::string();
}

/** Finds out whether the directory can be checked, and what is in it. */
std::string DirectoryCheck::lookAt()
{
    const std::string given = directory_.string();
    std::error_code error;
    const fs::file_status status = fs::status(directory_, error);
    if (!fs::exists(status))
        return "there is no directory " + given;
    if (!fs::is_directory(status))
        return given + " is not a directory";
    for (const char* name : {BackupNames::Marker, BackupNames::ListFile, BackupNames::UnfinishedListFile}) {
        if (fs::exists(directory_ / name, error))
            return given + " holds a backup; quorvactl restore checks it";
    }
    std::string config;
    (void)Base::readFile(directory_ / BerkeleyDbNames::ConfigFile, &config); // there may be none
    if (RestoreTarget::isGuard(config))
        return "a restore to " + given + " has not come to its end";
    if (const int rc = lock_.lock(directory_)) {
        return rc == EWOULDBLOCK ? given + " is open in a server, or another command uses it"
                                 : "cannot lock " + given + ": " + std::generic_category().message(rc);
    }
    findFiles(directory_);
    std::sort(databases_.begin(), databases_.end());
    return databases_.empty() && logs_.empty() ? "there are no tables in " + given : std::string();
}

/** A damaged file may not be recognisable, so the names of tables' files count as well. */
void DirectoryCheck::findFiles(const fs::path& below)
{
    std::vector<std::string> unrecognised;
    const int rc = Base::forEachEntry(below, [&](const fs::directory_entry& entry) {
        std::error_code vanished;
        const std::string file = entry.path().filename().string();
        const std::string name = entry.path().lexically_relative(directory_).string();
        if (entry.is_directory(vanished)) {
            const bool isOwn = LogFiles::numbersIn(entry.path()).empty() && file != BackupNames::LogDirectory;
            if (isOwn && !entry.is_symlink(vanished))
                findFiles(entry.path());
        } else if (below == directory_ && LogFiles::numberOf(file)) {
            logs_.push_back(name);
        } else if (entry.is_regular_file(vanished) && !BerkeleyDbNames::isInternal(file) &&
                   file != BerkeleyDbNames::ConfigFile) {
            (isDatabase(entry.path()) || isDataFile(name) ? databases_ : unrecognised).push_back(name);
        }
        return 0;
    });
    if (rc != 0)
        find(below.lexically_relative(directory_).string() +
             ": cannot be read: " + std::generic_category().message(rc));
    for (const std::string& name : unrecognised) {
        const bool isTable = std::any_of(databases_.begin(), databases_.end(), [&](const std::string& other) {
            return TableNames::ofDataFile(other) == name;
        });
        if (isTable)
            databases_.push_back(name);
    }
}

void DirectoryCheck::find(const std::string& finding)
{
    ++findings_;
    report_(finding);
}

/** Files that the log has as open or created, and nobody has removed. */
void DirectoryCheck::findMissing()
{
    std::string error;
    const auto env = OfflineEnvironment::open(copy_.path(), OfflineEnvironment::LogOnly, &error);
    DbLogc* cursor = nullptr;
    if (!env || env->log_cursor(&cursor, 0) != 0)
        return find("the log cannot be read: " + error);
    std::map<std::string, std::set<std::uint32_t>> used; // by the transactions that have to commit
    std::set<std::string> expected;
    DbLsn position;
    Dbt record;
    int rc = 0;
    while (!Interruption::requested() && (rc = cursor->get(&position, &record, DB_NEXT)) == 0) {
        const std::string_view bytes(static_cast<const char*>(record.get_data()), record.get_size());
        if (LogRecords::beginsTransaction(bytes)) { // the number may be that of one that a crash has undone
            for (auto& [name, transactions] : used)
                transactions.erase(LogRecords::transactionOf(bytes));
        }
        if (LogRecords::commitTime(bytes)) {
            for (auto& [name, transactions] : used) {
                if (transactions.erase(LogRecords::transactionOf(bytes)) != 0)
                    expected.insert(name);
            }
        }
        const auto event = LogRecords::fileEvent(bytes);
        if (!event)
            continue;
        const std::string name(event->name);
        if (event->kind == LogRecords::FileEvent::Removed) {
            expected.erase(name);
            used.erase(name);
        } else if (event->transaction == 0) {
            expected.insert(name);
        } else {
            used[name].insert(event->transaction);
        }
    }
    if (rc != 0 && rc != DB_NOTFOUND)
        find("the log cannot be read: " + std::string(DbEnv::strerror(rc)));
    (void)cursor->close(0);
    (void)env->close(0); // of a copy
    for (const std::string& name : expected) {
        std::error_code unknown;
        if (!fs::exists(directory_ / name, unknown))
            find(name + ": the file is missing; the log shows that it existed");
    }
}

/** Applies the log to the copy. */
void DirectoryCheck::recover()
{
    progress_("recovering", 0, 1);
    std::string error;
    const auto env = OfflineEnvironment::open(copy_.path(), OfflineEnvironment::Transactional | DB_RECOVER, &error);
    const int rc = env ? env->close(0) : 0;
    if (!env || rc != 0)
        find("the log cannot be applied: " + (env ? std::string(DbEnv::strerror(rc)) : error));
}

void DirectoryCheck::checkFile(const std::string& name)
{
    std::error_code unknown;
    if (!fs::exists(copy_.path() / name, unknown))
        return; // the log says that it was removed
    ++tables_[std::string(TableNames::ofDataFile(name))].files;
    // The structure of a damaged file may lead a reader anywhere.
    if (!verify(name))
        return;
    const char* const subDatabase = isDataFile(name) ? TableNames::DataSubDatabase : TableNames::MetaSubDatabase;
    if (const int rc = readRecords(name, subDatabase))
        find(name + ": cannot be read: " + DbEnv::strerror(rc));
}

bool DirectoryCheck::verify(const std::string& name)
{
    firstMessage.clear();
    Db db(nullptr, DB_CXX_NO_EXCEPTIONS); // a Db can verify only one file, which closes it
    db.set_errcall(keepMessage);
    const int rc = db.verify((copy_.path() / name).c_str(), nullptr, nullptr, 0);
    if (rc == 0)
        return true;
    std::string reason = firstMessage.empty() ? std::string(DbEnv::strerror(rc)) : firstMessage;
    const std::string path = (copy_.path() / name).string() + ": ";
    if (const std::size_t at = reason.find(path); at != std::string::npos)
        reason.erase(at, path.size());
    find(name + ": damaged: " + reason);
    return false;
}

int DirectoryCheck::readRecords(const std::string& name, const char* subDatabase)
{
    Db db(nullptr, DB_CXX_NO_EXCEPTIONS);
    db.set_errcall(OfflineEnvironment::ignoreMessage);
    const int rc = db.open(nullptr, (copy_.path() / name).c_str(), subDatabase, DB_BTREE, DB_RDONLY, 0);
    if (rc == ENOENT)
        find(name + ": holds no database \"" + subDatabase + '"');
    else if (rc == 0 && isDataFile(name))
        checkItems(name, &db);
    else if (rc == 0)
        checkDescription(name, &db);
    (void)db.close(0);
    return rc == ENOENT ? 0 : rc;
}

void DirectoryCheck::checkDescription(const std::string& name, Db* db)
{
    std::string keyBytes = DescriptionKey;
    Dbt key(keyBytes.data(), static_cast<u_int32_t>(keyBytes.size()));
    Dbt data;
    const int rc = db->get(nullptr, &key, &data, 0);
    if (rc == DB_NOTFOUND)
        return; // whoever asks for a table that does not exist leaves such a file
    described_[name] = true;
    QVariant description;
    Json::ParseError error;
    const QByteArray text(static_cast<const char*>(data.get_data()), static_cast<qsizetype>(data.get_size()));
    if (rc != 0)
        find(name + ": the description cannot be read: " + DbEnv::strerror(rc));
    else if (!Json::parse(text, &description, &error))
        find(name + ": the description is not valid JSON: " + error.reason.toStdString());
    else if (!hasKeys(description.toMap()))
        find(name + ": the description names no usable keys");
}

void DirectoryCheck::checkItems(const std::string& name, Db* db)
{
    Table& table = tables_[std::string(TableNames::ofDataFile(name))];
    const unsigned partition = partitionOf(name);
    Dbc* cursor = nullptr;
    int rc = db->cursor(nullptr, &cursor, 0);
    Dbt key;
    Dbt data;
    while (rc == 0 && !Interruption::requested() && (rc = cursor->get(&key, &data, DB_NEXT)) == 0) {
        ++table.items;
        checkItem(name, partition, {static_cast<const char*>(key.get_data()), key.get_size()},
                  {static_cast<const char*>(data.get_data()), data.get_size()});
    }
    if (cursor != nullptr)
        (void)cursor->close();
    if (rc != 0 && rc != DB_NOTFOUND)
        find(name + ": cannot be read to its end: " + DbEnv::strerror(rc));
}

void DirectoryCheck::checkItem(const std::string& name, unsigned partition, const std::string& key,
                               const std::string& text)
{
    const std::string item = name + ": the item with the key " + shown(key);
    if (!Partitions::mayHold(partition, key))
        find(item + " does not belong into this file");
    if (text.size() > LargestItem)
        return find(item + " is larger than 512 KiB, and the server cannot read it");
    QVariant value;
    Json::ParseError error;
    if (!Json::parse(QByteArray::fromStdString(text), &value, &error))
        find(item + " is not valid JSON: " + error.reason.toStdString());
    else if (value.typeId() != QMetaType::QVariantMap)
        find(item + " is not an object");
}

} // namespace Ctl
