#ifndef QUORVA_STORAGE_DATABASEFILES_H
#define QUORVA_STORAGE_DATABASEFILES_H

#include <filesystem>
#include <map>
#include <string>
#include <vector>

class BDBEnv;

/** Where an environment has its databases. Any thread. */
namespace DatabaseFiles {

/** By the names that the environment knows them by, with the paths that these stand for. */
using ByName = std::map<std::string, std::filesystem::path>;

/** The directories of an environment's database files: its home, or the data directories that its DB_CONFIG names. */
[[nodiscard]] int findDirectories(BDBEnv* env, std::vector<std::filesystem::path>* directories);

/**
 * Finds the database files of an environment: all below its data directories, wherever it can open one. Left out are
 * sub-directories that are environments of their own, by their log files (EnvironmentFiles::findLog()), and links to
 * directories that are among these anyway, so that each file has the name that the log knows it by. 0, or an errno
 * value or code of Berkeley DB for what cannot be read, with `files` filled in part.
 */
[[nodiscard]] int find(BDBEnv* env, ByName* files);

/**
 * `*isSecond`: the name `file` of a database leads through a link to a directory of the same environment. A file there
 * has a name without the link; under two names in the log, a restored copy of it would lack what belongs to one of
 * them. Links that lead elsewhere, as to another disk, are no harm. 0 or a code of Berkeley DB.
 */
[[nodiscard]] int findSecondName(BDBEnv* env, const std::string& file, bool* isSecond);

} // namespace DatabaseFiles

#endif
