#ifndef QUORVA_FORMAT_SERVERSETTINGS_H
#define QUORVA_FORMAT_SERVERSETTINGS_H

/**
 * The server's own settings in an environment's DB_CONFIG, for the server and the tool that writes them. Berkeley DB
 * refuses a name that it does not know, so for Berkeley DB they are comments: a line is the mark, a name and a value.
 */
namespace ServerSettings {

inline constexpr const char* Mark = "#quorva";

/**
 * "on": each checkpoint removes the log files that recovery no longer needs, unless a backup of this directory needs
 * them. "off", or no such line: they are kept until an operator tells the server that no backup needs them.
 */
inline constexpr const char* RemoveUnneededLogs = "remove_unneeded_logs";

/**
 * "on": while a log file is being written, the next one is prepared, with its full length and filled with zeros. Only
 * with "log_set_config db_log_dsync off". "off", or no such line: log files grow as they are written.
 */
inline constexpr const char* PrepareLogFiles = "prepare_log_files";

} // namespace ServerSettings

#endif
