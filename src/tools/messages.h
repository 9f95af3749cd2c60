#ifndef QUORVA_TOOLS_MESSAGES_H
#define QUORVA_TOOLS_MESSAGES_H

#include <QByteArray>

#include <string>
#include <vector>

/**
 * What quorvactl prints. A message on standard error has one line that says what went wrong, followed where applicable
 * by what the server said and what to try.
 */
namespace Ctl {

/**
 * Prints "quorvactl: MESSAGE" on standard error, followed by the lines of `details`. Names in them may have any
 * characters (TerminalText::printable).
 */
void complain(const std::string& message, const std::vector<std::string>& details = {});

/** Complains, and returns ExitErrorReply. */
int fail(const std::string& message, const std::vector<std::string>& details = {});

/** Reports an error in the command line. Returns ExitUsage, or ExitOk if `error` is empty. */
[[nodiscard]] int refuse(const std::string& error);

/** "WHAT: the reason", for an error code of the system. */
std::string withReason(const std::string& what, int error);

/** "1 item", "2 items". */
std::string counted(long long number, const std::string& noun);
/** The same for a noun whose plural is irregular. */
std::string counted(long long number, const std::string& noun, const std::string& plural);

/**
 * Prints a line of readable text on standard output; names in it may have any characters (TerminalText::printable).
 * Returns like printLine().
 */
[[nodiscard]] int say(const std::string& text);
/** The same for several lines. */
[[nodiscard]] int sayLines(const std::vector<std::string>& lines);

/** Prints a line of data on standard output, as it is. Returns ExitOk, or ExitNoReply after reporting that it cannot be
 * written. */
[[nodiscard]] int printLine(const QByteArray& text);
/** The same for a text with line ends of its own. */
[[nodiscard]] int printText(const QByteArray& text);

} // namespace Ctl

#endif
