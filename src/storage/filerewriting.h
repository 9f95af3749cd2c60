#ifndef QUORVA_STORAGE_FILEREWRITING_H
#define QUORVA_STORAGE_FILEREWRITING_H

#include <filesystem>
#include <vector>

/** Makes all bytes of an environment's files durable, whatever the system believes to be on disk. */
namespace FileRewriting {

/**
 * Writes the files of the environment in `home` again as they are, and syncs them and their names: the log files in
 * `logs`, then the database files below `directories`, and those that the environment reaches through links. Foreign
 * files are left alone, as others may write to them meanwhile; likewise what may not be written to, which the
 * environment could not change either. Not of an open environment. Returns 0 or an errno value.
 */
[[nodiscard]] int run(const std::filesystem::path& home, const std::filesystem::path& logs,
                      const std::vector<std::filesystem::path>& directories);

} // namespace FileRewriting

#endif
