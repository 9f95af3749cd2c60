#ifndef QUORVA_TOOLS_OFFLINEENVIRONMENT_H
#define QUORVA_TOOLS_OFFLINEENVIRONMENT_H

#include <db_cxx.h>

#include <filesystem>
#include <memory>
#include <string>

/** Berkeley DB environments for working on a directory that no server has open. */
namespace OfflineEnvironment {

inline constexpr u_int32_t LogOnly = DB_CREATE | DB_INIT_LOG | DB_PRIVATE;
inline constexpr u_int32_t Transactional = LogOnly | DB_INIT_LOCK | DB_INIT_MPOOL | DB_INIT_TXN;

/**
 * Opens the environment whose files are in `directory`; its destructor closes it. Returns null, with `error` set, on
 * failure.
 *
 * Its home is a directory that does not exist, so that no DB_CONFIG is read: neither the one that keeps servers out of
 * an unfinished restore, nor a user's settings.
 */
std::unique_ptr<DbEnv> open(const std::filesystem::path& directory, u_int32_t flags, std::string* error);

/** The same, with the log files in a directory of their own. */
std::unique_ptr<DbEnv> open(const std::filesystem::path& databases, const std::filesystem::path& logs, u_int32_t flags,
                            std::string* error);

/** What failed, and Berkeley DB's message for the code. */
std::string describe(const std::string& what, int rc);

/** For set_errcall(): our own messages report errors. */
void ignoreMessage(const DbEnv* env, const char* prefix, const char* message);

} // namespace OfflineEnvironment

#endif
