#ifndef QUORVA_TESTS_TOOLS_EXITSTATUS_H
#define QUORVA_TESTS_TOOLS_EXITSTATUS_H

/** What quorvactl exits with, as its help lists it. */
enum ExitStatus { Ok = 0, ErrorReply = 1, NoReply = 2, Usage = 64 };

#endif
