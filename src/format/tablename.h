#ifndef QUORVA_FORMAT_TABLENAME_H
#define QUORVA_FORMAT_TABLENAME_H

#include <string>
#include <string_view>

/**
 * How a TableName becomes names on disk, and which names are refused, for the server and for the tools. On disk, do not
 * change. Pure; any thread.
 *
 *     TableName      directory "|" file-part
 *     schema file    file-part                   sub-database "meta"
 *     data file      file-part "_" pp ".db"      sub-database "data"; pp: the partition, two lower-case hex digits
 */
namespace TableNames {

inline constexpr const char* MetaSubDatabase = "meta"; // holds the schema record
inline constexpr const char* DataSubDatabase = "data"; // holds the items of one partition

/** What stands before the last "|", all of the name when there is none. */
std::string_view directory(std::string_view tableName);

/** What stands after the last "|", or, without one, after the last path separator ("\" or "/"); else the whole name. */
std::string_view filePart(std::string_view tableName);

/** What a data file has behind the file part: "_3f.db". */
std::string partitionSuffix(unsigned partition);

/** The file part of the table whose data a file of this name holds; the whole name when it ends like no data file. */
std::string_view ofDataFile(std::string_view file);

/**
 * Why no table can have this file part, as a clause for people; nullptr when one can.
 *
 * A file part is a path below the environment's directory, in the one spelling that leads there, and none of its
 * components is a name that Berkeley DB, a backup or another table's data has in that directory: DB_CONFIG, "log." and
 * digits, whatever begins with "__db", those of backupnames.h, and whatever ends like "_3f.db". This holds for every
 * component: a directory inside an environment may become an environment or be copied as a part of one, and a directory
 * with another file's name is as much in its way as a file. The last component leaves room for the suffix of data
 * files.
 */
const char* refusal(std::string_view filePart);

/** The same for a file that a table's sub-database is in: what counts is the file part of the TableName. */
const char* fileRefusal(std::string_view file, std::string_view subDatabase);

} // namespace TableNames

#endif
