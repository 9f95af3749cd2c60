#ifndef QUORVA_TOOLS_MESSAGES_H
#define QUORVA_TOOLS_MESSAGES_H

#include <QByteArray>

#include <string>
#include <vector>

/**
 * What quorvactl prints. A message on standard error has one line that says what was wrong, and below it, where there
 * is something to tell, what the server said and what to try.
 */
namespace Ctl {

/** Prints "quorvactl: MESSAGE" on standard error, and further lines below it. */
void complain(const std::string& message, const std::vector<std::string>& details = {});

/** "1 item", "2 items". */
std::string counted(long long number, const std::string& noun);

/** Prints a line on standard output. ExitOk, or ExitNoReply after telling that it cannot be written. */
[[nodiscard]] int printLine(const QByteArray& text);

} // namespace Ctl

#endif
