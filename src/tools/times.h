#ifndef QUORVA_TOOLS_TIMES_H
#define QUORVA_TOOLS_TIMES_H

#include <ctime>
#include <optional>
#include <string>

/** Points in time, in whole seconds, on the command line and in messages. */
namespace Times {

/** "2026-11-22 14:05:00 UTC"; "unknown" for none. */
std::string text(std::optional<std::time_t> time);

/**
 * Reads a time: one of RFC 3339 ("2026-11-22T14:05:00+01:00"), the text above, "2026-11-22 14:05:00" in the local time
 * zone, in which the seconds may be omitted, or the seconds since 1970. Fractions of a second are truncated. Returns an
 * empty string or an error message.
 */
[[nodiscard]] std::string read(const std::string& text, std::time_t* time);

} // namespace Times

#endif
