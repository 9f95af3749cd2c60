#include "records/tablelist.h"

#include "base/paths.h"
#include "format/tablename.h"
#include "protocol/limits.h"
#include "records/schema.h"
#include "records/tablecontext.h"
#include "storage/bdbenv.h"
#include "storage/databasefiles.h"
#include "storage/databaserecord.h"

#include <db_cxx.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <string>

namespace {

// A link may lead to the whole machine. Four thousand tables have this many files.
constexpr std::size_t MostEntries = 1'000'000;

struct TableFiles {
    ListedTable table;
    std::filesystem::path descriptionFile; // empty: there is none
};

/** By file part. */
using FilesOfTables = std::map<std::string, TableFiles>;

/** Only of files that a table can have. */
FilesOfTables groupByTable(const DatabaseFiles::ByName& files)
{
    FilesOfTables tables;
    for (const auto& [name, path] : files) {
        const std::string part(TableNames::ofDataFile(name));
        const QByteArray filePart = QByteArray::fromStdString(part);
        if (TableNames::refusal(part) != nullptr || !filePart.isValidUtf8())
            continue;
        TableFiles& found = tables[part];
        found.table.filePart = filePart;
        ++found.table.files;
        found.table.bytes += std::max<qlonglong>(Base::sizeOfFile(path), 0); // it may have vanished
        if (part == name)
            found.descriptionFile = path;
    }
    return tables;
}

/** Reads the description of a table that is open in the current environment. */
int askOpenTable(TableContext& context, BDBIndex* meta, ListedTable* table)
{
    const int rc = Records::readDescription(context, meta, &table->description);
    return rc == DB_NOTFOUND ? 0 : rc;
}

/** Reads the description of a table from its file. False if that is another program's database. */
bool readClosedTable(const TableFiles& files, ListedTable* table)
{
    const QByteArray key = Records::schemaRecordKey();
    const DatabaseRecord::Found found = DatabaseRecord::read(files.descriptionFile, TableNames::MetaSubDatabase,
                                                             {key.cbegin(), key.cend()}, Limits::ItemBytes);
    if (found.value)
        table->description = Records::parseDescription(QByteArray::fromStdString(*found.value));
    return found.hasSubDatabase || table->files > 1;
}

} // namespace

int Records::listTables(TableContext& context, const QByteArray& directory, TableList* list)
{
    *list = {};
    list->isOpen = context.joinIfOpen(directory + '|');
    DatabaseFiles::ByName files;
    if (const int rc = DatabaseFiles::findUnopened(directory.toStdString(), MostEntries, &files, &list->unreadable))
        return rc;
    for (auto& [name, found] : groupByTable(files)) {
        ListedTable table = found.table;
        // What an environment has not opened since it was opened itself is on disk as it is: recovery wrote it.
        BDBIndex* const meta =
            list->isOpen ? context.env()->openTables().find(table.filePart, OpenTables::Meta) : nullptr;
        if (meta != nullptr) {
            if (const int rc = askOpenTable(context, meta, &table))
                return rc;
        } else if (!found.descriptionFile.empty() && !readClosedTable(found, &table)) {
            continue;
        }
        list->tables.push_back(std::move(table));
    }
    return 0;
}
