#ifndef QUORVA_TOOLS_EXITCODE_H
#define QUORVA_TOOLS_EXITCODE_H

#include "base/exitstatus.h"

namespace Ctl {

/** The exit statuses of quorvactl: those of all programs, and one of its own. Every help text lists them. */
enum ExitCode : int {
    ExitOk = Base::ExitOk,             // the reply's "__rc" was 200
    ExitErrorReply = Base::ExitFailed, // any other reply
    ExitNoReply = 2,                   // no complete reply came, or it could not be printed; standard error says why
    ExitUsage = Base::ExitUsage,       // the command line was wrong, or an argument cannot be used
};

/** The end of every help text. */
inline constexpr const char* ExitCodeHelp =
    "Exit status:\n"
    "  0   success: the reply's \"__rc\" is 200, or the command did its work\n"
    "  1   the reply is an error, or the command failed\n"
    "  2   no reply was received, or it could not be printed; standard error has the reason\n"
    "  64  the command line is wrong, or an argument is unusable; nothing was written";

} // namespace Ctl

#endif
