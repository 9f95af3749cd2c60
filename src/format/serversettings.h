#ifndef QUORVA_FORMAT_SERVERSETTINGS_H
#define QUORVA_FORMAT_SERVERSETTINGS_H

/**
 * The server's own settings in an environment's DB_CONFIG, for the server and the tool that writes them. Berkeley DB
 * refuses a name that it does not know, so for Berkeley DB they are comments: a line is the mark, a name and a value.
 */
namespace ServerSettings {

inline constexpr const char* Mark = "#quorva";

/**
 * "on": each checkpoint removes the log files that recovery no longer needs, unless a backup of this directory wants
 * them. "off", or no such line: they are kept until the server is told that no backup wants them.
 */
inline constexpr const char* RemoveUnneededLogs = "remove_unneeded_logs";

} // namespace ServerSettings

#endif
