#ifndef QUORVA_FORMAT_LOGFILES_H
#define QUORVA_FORMAT_LOGFILES_H

#include <cstdint>
#include <filesystem>
#include <optional>
#include <set>
#include <string>
#include <string_view>

/**
 * The names of Berkeley DB's log files: "log." and the number in ten digits, in environments and backups. On disk, do
 * not change. Any thread.
 */
namespace LogFiles {

std::string name(std::uint32_t number);

/** The number of a log file by its name; nothing for any other name. */
std::optional<std::uint32_t> numberOf(std::string_view name);

/**
 * True for "log." and any number of digits: Berkeley DB treats all of these as log files when it searches for the first
 * and the last one, and loops forever on "log.99999999999".
 */
bool isTakenForOne(std::string_view name);

/**
 * The numbers of the log files in a directory, as far as it can be read. Only regular files and links to them count.
 */
std::set<std::uint32_t> numbersIn(const std::filesystem::path& directory);

} // namespace LogFiles

#endif
