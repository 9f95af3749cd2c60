#ifndef QUORVA_FORMAT_BERKELEYDBNAMES_H
#define QUORVA_FORMAT_BERKELEYDBNAMES_H

#include <string_view>

/**
 * The names that Berkeley DB uses for its own files in an environment's directory, beside the log files (logfiles.h).
 * On disk, do not change. Pure; any thread.
 */
namespace BerkeleyDbNames {

/** The settings of an environment, which Berkeley DB reads when it opens one. */
inline constexpr const char* ConfigFile = "DB_CONFIG";

/** A name for a file that is removed at once: one of Berkeley DB's prefix that it does not use itself. */
inline constexpr const char* ProbeFile = "__db.quorva.writable";

/** True for "__db" and whatever follows: region files, and files that are only just being made or renamed. */
bool isInternal(std::string_view name);

/** True for every name that belongs to Berkeley DB, those of log files included. */
bool isReserved(std::string_view name);

} // namespace BerkeleyDbNames

#endif
