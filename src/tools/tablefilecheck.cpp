#include "tools/tablefilecheck.h"

#include "format/partitions.h"
#include "format/tablename.h"
#include "protocol/bodies.h"
#include "protocol/limits.h"
#include "tools/interruption.h"
#include "tools/offlineenvironment.h"
#include "json/jsonreader.h"

#include <db_cxx.h>

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <system_error>

namespace fs = std::filesystem;

namespace Ctl {

namespace {

constexpr const char* DescriptionKey = "0011tableschema";
constexpr std::size_t ShownKeyBytes = 80;

std::string firstMessage; // of Berkeley DB about the file that is being verified

void keepMessage(const DbEnv*, const char*, const char* message)
{
    if (firstMessage.empty())
        firstMessage = message;
}

unsigned partitionOf(const std::string& dataFile)
{
    unsigned partition = 0;
    const char* const digits = dataFile.data() + TableNames::ofDataFile(dataFile).size() + 1;
    std::from_chars(digits, digits + 2, partition, 16);
    return partition;
}

/** A record's key for a message: bytes that are not ASCII text as in "\xe4", truncated if it is long. */
std::string inQuotes(const std::string& key)
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

bool TableFileCheck::isDataFile(const std::string& name)
{
    return TableNames::ofDataFile(name) != name;
}

void TableFileCheck::check(const std::string& name)
{
    std::error_code unknown;
    if (!fs::exists(directory_ / name, unknown))
        return; // the log says that it was removed
    ++tables_[std::string(TableNames::ofDataFile(name))].files;
    // A damaged file must not be read: its structure may lead anywhere.
    if (!verify(name))
        return;
    const char* const subDatabase = isDataFile(name) ? TableNames::DataSubDatabase : TableNames::MetaSubDatabase;
    if (const int rc = readRecords(name, subDatabase))
        report_(name + ": cannot be read: " + DbEnv::strerror(rc));
}

bool TableFileCheck::verify(const std::string& name) const
{
    firstMessage.clear();
    Db db(nullptr, DB_CXX_NO_EXCEPTIONS); // a Db can verify only one file, which closes it
    db.set_errcall(keepMessage);
    const int rc = db.verify((directory_ / name).c_str(), nullptr, nullptr, 0);
    if (rc == 0)
        return true;
    std::string reason = firstMessage.empty() ? std::string(DbEnv::strerror(rc)) : firstMessage;
    const std::string path = (directory_ / name).string() + ": ";
    if (const std::size_t at = reason.find(path); at != std::string::npos)
        reason.erase(at, path.size());
    report_(name + ": damaged: " + reason);
    return false;
}

int TableFileCheck::readRecords(const std::string& name, const char* subDatabase)
{
    Db db(nullptr, DB_CXX_NO_EXCEPTIONS);
    db.set_errcall(OfflineEnvironment::ignoreMessage);
    const int rc = db.open(nullptr, (directory_ / name).c_str(), subDatabase, DB_BTREE, DB_RDONLY, 0);
    if (rc == ENOENT)
        report_(name + ": contains no database \"" + subDatabase + '"');
    else if (rc == 0 && isDataFile(name))
        checkItems(name, &db);
    else if (rc == 0)
        checkDescription(name, &db);
    (void)db.close(0);
    return rc == ENOENT ? 0 : rc;
}

void TableFileCheck::checkDescription(const std::string& name, Db* db)
{
    std::string keyBytes = DescriptionKey;
    Dbt key(keyBytes.data(), static_cast<u_int32_t>(keyBytes.size()));
    Dbt data;
    const int rc = db->get(nullptr, &key, &data, 0);
    if (rc == DB_NOTFOUND)
        return; // a request for a table that does not exist leaves such a file
    tables_[name].isDescribed = true;
    QVariant description;
    Json::ParseError error;
    const QByteArray text(static_cast<const char*>(data.get_data()), static_cast<qsizetype>(data.get_size()));
    if (rc != 0)
        report_(name + ": the description cannot be read: " + DbEnv::strerror(rc));
    else if (!Json::parse(text, &description, &error))
        report_(name + ": the description is not valid JSON: " + error.reason.toStdString());
    else if (!hasKeys(description.toMap()))
        report_(name + ": the description names no usable keys");
}

void TableFileCheck::checkItems(const std::string& name, Db* db)
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
        report_(name + ": cannot be read to its end: " + DbEnv::strerror(rc));
}

void TableFileCheck::checkItem(const std::string& name, unsigned partition, const std::string& key,
                               const std::string& text) const
{
    const std::string item = name + ": the item with the key " + inQuotes(key);
    if (!Partitions::mayHold(partition, key))
        report_(item + " does not belong in this file");
    if (text.size() > Limits::ItemBytes)
        return report_(item + " is larger than 512 KiB, and the server cannot read it");
    QVariant value;
    Json::ParseError error;
    if (!Json::parse(QByteArray::fromStdString(text), &value, &error))
        report_(item + " is not valid JSON: " + error.reason.toStdString());
    else if (value.typeId() != QMetaType::QVariantMap)
        report_(item + " is not an object");
}

} // namespace Ctl
