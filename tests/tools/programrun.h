#ifndef QUORVA_TESTS_TOOLS_PROGRAMRUN_H
#define QUORVA_TESTS_TOOLS_PROGRAMRUN_H

#include <string>
#include <vector>

/** What a program did. */
struct ProgramRun {
    int status = -1; // its exit status, or the negative number of the signal that ended it
    std::string output;
    std::string error;
};

/** Where a program reads from and writes to, when it matters. */
struct ProgramFiles {
    std::string input = "/dev/null";
    std::string output{}; // empty: collected
};

/** Runs a program to its end. */
ProgramRun runProgram(const std::string& program, const std::vector<std::string>& arguments,
                      const ProgramFiles& files = {});

#endif
