#ifndef QUORVA_FORMAT_BERKELEYDBNAMES_H
#define QUORVA_FORMAT_BERKELEYDBNAMES_H

#include <string_view>

/**
 * The names that Berkeley DB uses for its own files in an environment's directory, other than log files (logfiles.h).
 * On disk, do not change. Pure; any thread.
 */
namespace BerkeleyDbNames {

/** The settings of an environment, which Berkeley DB reads when it opens it. */
inline constexpr const char* ConfigFile = "DB_CONFIG";

/** A file that is removed immediately: its name has Berkeley DB's prefix, but is not one that Berkeley DB uses. */
inline constexpr const char* ProbeFile = "__db.quorva.writable";

/** A log file that is being prepared, likewise. */
inline constexpr const char* LogDraft = "__db.quorva.log";

/**
 * A file that says that a sync has failed, see storage/syncfailures.h. Its prefix is that of the files of queues, of
 * which there are none: with the other one, Berkeley DB would remove it when it cannot open the environment.
 */
inline constexpr const char* FailedSyncRecord = "__dbq.quorva.unsynced";

/** True for names that begin with "__db": region files, and files that are being created or renamed. */
bool isInternal(std::string_view name);

/**
 * The reason why no table can have this name, as in tablename.h: it belongs to Berkeley DB, like those of log files.
 * nullptr for any other name.
 */
const char* refusal(std::string_view name);

} // namespace BerkeleyDbNames

#endif
