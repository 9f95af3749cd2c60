#include "records/tablelist.h"

#include "base/paths.h"
#include "format/tablename.h"
#include "records/descriptionfile.h"
#include "records/schema.h"
#include "records/tablecontext.h"
#include "storage/bdbenv.h"
#include "storage/databasefiles.h"

#include <db_cxx.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <shared_mutex>
#include <string>

namespace {

struct TableFiles {
    ListedTable table;
    std::filesystem::path descriptionFile; // empty: there is none
};

/** By file part. */
using FilesOfTables = std::map<std::string, TableFiles>;

/** Only files that a table can have. */
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

/** Reads the description of a table that is open in the current environment; `*isOpen` is false if it is not. */
int askOpenTable(TableContext& context, ListedTable* table, bool* isOpen)
{
    BDBEnv* const env = context.env();
    const std::shared_lock noRemoval(env->tableGates().of(table->filePart));
    BDBIndex* const meta = env->openTables().find(table->filePart, OpenTables::Meta);
    *isOpen = meta != nullptr;
    const int rc = *isOpen ? Records::readDescription(context, meta, &table->description) : 0;
    return rc == DB_NOTFOUND ? 0 : rc;
}

/** Reads the description of a table from its file. False if that is another program's database. */
bool readClosedTable(const TableFiles& files, ListedTable* table)
{
    const DatabaseRecord::Found found = Records::readDescriptionFile(files.descriptionFile);
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
    if (const int rc = DatabaseFiles::findUnopened(directory.toStdString(), MostListedFiles, &files, &list->unreadable))
        return rc;
    for (auto& [name, found] : groupByTable(files)) {
        ListedTable table = found.table;
        bool isOpen = false;
        if (list->isOpen) {
            if (const int rc = askOpenTable(context, &table, &isOpen))
                return rc;
        }
        // A file that an environment has not opened since recovery is complete on disk: recovery wrote it.
        const bool hasFile = !found.descriptionFile.empty();
        if (!isOpen && hasFile && !readClosedTable(found, &table))
            continue;
        // In a closed directory, the description may still be only in the log; but its file is created first.
        table.isCreated = !table.description.isEmpty() || (!list->isOpen && hasFile);
        list->tables.push_back(std::move(table));
    }
    return 0;
}
