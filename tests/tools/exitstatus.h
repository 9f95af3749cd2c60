#ifndef QUORVA_TESTS_TOOLS_EXITSTATUS_H
#define QUORVA_TESTS_TOOLS_EXITSTATUS_H

/** The exit statuses of quorvactl, as listed by its help. */
enum ExitStatus { Ok = 0, ErrorReply = 1, NoReply = 2, Usage = 64 };

#endif
