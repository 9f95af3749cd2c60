#ifndef QUORVA_RECORDS_TABLELIST_H
#define QUORVA_RECORDS_TABLELIST_H

#include <QByteArray>
#include <QVariantMap>

#include <vector>

class TableContext;

/** A table by its files. */
struct ListedTable {
    QByteArray filePart;     // valid UTF-8
    QVariantMap description; // empty: there is none, or it is not on disk yet
    bool isCreated = true;   // false: it was not created, but requests have named it, which creates files
    int files = 0;
    qlonglong bytes = 0; // the sum of their lengths
};

/** The tables of a directory. */
struct TableList {
    bool isOpen = false;             // as an environment, in this process
    std::vector<ListedTable> tables; // ascending by the bytes of their file parts
    int unreadable = 0;              // files and directories that could not be read
};

namespace Records {

/** The maximum number of files and directories to examine: enough for hundreds of tables, but not for a whole system.
 */
inline constexpr int MostListedFiles = 100'000;

/**
 * Lists the tables of a directory from their files, without opening an environment or creating a file. Descriptions are
 * read from the files as well, or through the open environment if the table is open here. Waits while the directory is
 * being opened or closed here.
 *
 * 0 or an errno value, for the directory itself (see DatabaseFiles::findUnopened), or a Berkeley DB code.
 */
[[nodiscard]] int listTables(TableContext& context, const QByteArray& directory, TableList* list);

} // namespace Records

#endif
