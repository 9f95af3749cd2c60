#ifndef QUORVA_STORAGE_DATABASEFILES_H
#define QUORVA_STORAGE_DATABASEFILES_H

#include <cstddef>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

class BDBEnv;

/** Locates the databases of an environment. Any thread. */
namespace DatabaseFiles {

/** The environment's names for its database files, and their paths. */
using ByName = std::map<std::string, std::filesystem::path>;

/** The directories of an environment's database files: its home, or the data directories that its DB_CONFIG names. */
[[nodiscard]] int findDirectories(BDBEnv* env, std::vector<std::filesystem::path>* directories);

/** The same for the directory `home` of an environment that need not be open. */
[[nodiscard]] std::vector<std::filesystem::path> directoriesOf(const std::filesystem::path& home);

/**
 * Finds the database files of an environment: all files below its data directories that it could open. Skips
 * subdirectories that are environments of their own, by their log files (EnvironmentFiles::findLog()), those that show
 * the kernel's state, such as /proc, and links to directories that are searched anyway, so that each file gets the name
 * it has in the log. 0, or an errno value or Berkeley DB code if something cannot be read, with `files` filled in part.
 */
[[nodiscard]] int find(BDBEnv* env, ByName* files);

/**
 * The same for the directory `home` of an environment that need not be open: no file is created or locked. Only counts
 * what cannot be read. 0 or an errno value: ENOTDIR, or another one if `home` itself cannot be read; ENOTSUP if it
 * shows the kernel's state; EMFILE or ENFILE for want of descriptors; E2BIG after `most` entries of directories, as
 * links may lead anywhere.
 */
[[nodiscard]] int findUnopened(const std::filesystem::path& home, std::size_t most, ByName* files, int* unreadable);

/**
 * `*isSecond`: the database name `file` leads through a link to a directory of the same environment. A file there also
 * has a name without the link; with two names in the log, a restored copy would lack the changes logged under one of
 * them. Links that lead elsewhere, such as to another disk, are harmless. 0 or a Berkeley DB code.
 */
[[nodiscard]] int findSecondName(BDBEnv* env, const std::string& file, bool* isSecond);

} // namespace DatabaseFiles

#endif
