#ifndef QUORVA_FORMAT_TABLENAME_H
#define QUORVA_FORMAT_TABLENAME_H

#include <string>
#include <string_view>

/**
 * How a TableName maps to names on disk, and which names are refused, for the server and the tools. On disk, do not
 * change. Pure; any thread.
 *
 *     TableName      directory "|" file-part
 *     schema file    file-part                   sub-database "meta"
 *     data file      file-part "_" pp ".db"      sub-database "data"; pp: the partition, two lower-case hex digits
 */
namespace TableNames {

inline constexpr const char* MetaSubDatabase = "meta"; // contains the schema record
inline constexpr const char* DataSubDatabase = "data"; // contains the items of one partition

/** The part before the last "|"; the whole name when there is none. */
std::string_view directory(std::string_view tableName);

/**
 * The part after the last "|" or, without one, after the last path separator ("\" or "/"); otherwise the whole name.
 */
std::string_view filePart(std::string_view tableName);

/** The suffix that a data file adds to the file part: "_3f.db". */
std::string partitionSuffix(unsigned partition);

/** The file part of the table to which a data file of this name belongs; the whole name without such a suffix. */
std::string_view ofDataFile(std::string_view file);

/**
 * The reason, as a clause for messages, why no table can have this file part; nullptr when one can.
 *
 * A file part is a normalised path below the environment's directory, and none of its components is a name that
 * Berkeley DB, a backup or another table's data uses in that directory: DB_CONFIG, "log." and digits, names that begin
 * with "__db", those of backupnames.h, and names that end like "_3f.db". This holds for every component: a directory
 * inside an environment may become an environment or be copied as part of one, and a directory with the name of such a
 * file is as much in its way as a file. The last component leaves room for the suffix of data files.
 */
const char* refusal(std::string_view filePart);

/** The same for the file of a table's sub-database; checks the file part of its TableName. */
const char* fileRefusal(std::string_view file, std::string_view subDatabase);

} // namespace TableNames

#endif
