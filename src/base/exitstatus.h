#ifndef QUORVA_BASE_EXITSTATUS_H
#define QUORVA_BASE_EXITSTATUS_H

namespace Base {

/** The exit statuses that quorvactl and quorva-http share. Scripts test them. */
enum ExitStatus : int {
    ExitOk = 0,
    ExitFailed = 1, // standard error has the reason
    ExitUsage = 64, // the command line was wrong; nothing was done
};

} // namespace Base

#endif
