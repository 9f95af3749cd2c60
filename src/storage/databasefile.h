#ifndef QUORVA_STORAGE_DATABASEFILE_H
#define QUORVA_STORAGE_DATABASEFILE_H

#include "format/databasepage.h"

#include <filesystem>
#include <optional>
#include <string>

/** Inspects a database file without Berkeley DB. Never blocks; any thread. */
namespace DatabaseFile {

/**
 * `*start`: the start of the file's first page, if it is that of a Berkeley DB database. 0 or an errno value; ENOENT
 * for a missing file.
 */
[[nodiscard]] int readStart(const std::filesystem::path& file, std::optional<DatabasePage::Start>* start);

/** Also false when the file cannot be read. */
bool isDatabase(const std::filesystem::path& file);

/** The unique id that a database shares with its copies; empty if it cannot be read. */
std::string id(const std::filesystem::path& file);

} // namespace DatabaseFile

#endif
