#ifndef QUORVA_STORAGE_DATABASEFILE_H
#define QUORVA_STORAGE_DATABASEFILE_H

#include "format/databasepage.h"

#include <filesystem>
#include <optional>
#include <string>

/** What a file says about itself as a database, without Berkeley DB. Never waits; any thread. */
namespace DatabaseFile {

/**
 * `*start`: what the file begins with, if it begins as Berkeley DB's databases do. 0 or an errno value; ENOENT for a
 * file that is not there.
 */
[[nodiscard]] int readStart(const std::filesystem::path& file, std::optional<DatabasePage::Start>* start);

/** False as well when the file cannot be read. */
bool isDatabase(const std::filesystem::path& file);

/** The bytes that identify a database and all of its copies; empty when they cannot be read. */
std::string id(const std::filesystem::path& file);

} // namespace DatabaseFile

#endif
