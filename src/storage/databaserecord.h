#ifndef QUORVA_STORAGE_DATABASERECORD_H
#define QUORVA_STORAGE_DATABASERECORD_H

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

/**
 * Reads single records of a database file that is not open, without Berkeley DB, which would trust what the file
 * contains. Bounded in time and memory whatever that is; never blocks; any thread.
 */
namespace DatabaseRecord {

/** The result for a file and one of its sub-databases, both B-trees. */
struct Found {
    bool hasSubDatabase = false;
    std::optional<std::string> value; // of the record; unset if there is none
};

/**
 * Looks for the record with this key, of at most `most` bytes, in what has been written to the file: changes that are
 * only in an environment's cache and log are not seen. What cannot be read counts as not found: damaged or encrypted
 * databases, and those with checksums. So does a record after more than a few dozen pages: this is meant for databases
 * of one record.
 */
[[nodiscard]] Found read(const std::filesystem::path& file, std::string_view subDatabase, std::string_view key,
                         std::size_t most);

} // namespace DatabaseRecord

#endif
