#ifndef QUORVA_TESTS_SUPPORT_PROGRAMRUN_H
#define QUORVA_TESTS_SUPPORT_PROGRAMRUN_H

#include "support/files.h"
#include "support/tempdir.h"

#include <sys/types.h>

#include <string>
#include <vector>

/** The result of running a program. */
struct ProgramRun {
    int status = -1; // its exit status, or the negative number of the signal that ended it
    std::string output;
    std::string error;
};

/** Files for a program's input and output. */
struct ProgramFiles {
    std::string input = "/dev/null";
    std::string output{}; // empty: collected
};

/**
 * Starts a program with these files as its standard streams, and with the "NAME=VALUE" strings of `environment` instead
 * of the test's environment if there are any. Returns its process id; -1, with a test failure, when it does not start.
 */
pid_t startProgram(const std::string& program, const std::vector<std::string>& arguments, const std::string& input,
                   const std::string& output, const std::string& error, std::vector<std::string> environment = {});
/** True when such a program has ended and has not been waited for; until then its process id is not reused. */
bool hasEnded(pid_t id);
/** Waits for such a program to end. Returns its exit status, or the negative number of the signal that ended it. */
int reapProgram(pid_t id);
/** Fails the test when a sanitizer reported something among what a program wrote to standard error. */
void expectNoSanitizerReport(const std::string& program, const std::string& error);

/** A running program. The destructor kills it unless its end was waited for. */
class RunningProgram {
public:
    RunningProgram(const std::string& program, const std::vector<std::string>& arguments,
                   const ProgramFiles& files = {});
    ~RunningProgram();
    RunningProgram(const RunningProgram&) = delete;
    RunningProgram& operator=(const RunningProgram&) = delete;

    void signal(int number) const;
    ProgramRun wait();
    /** Its output on standard error so far. */
    std::string errorText() const;

private:
    const TempDir directory_;
    const std::string output_;
    const bool collectsOutput_;
    pid_t id_ = -1;
};

/** Runs a program to its end. */
ProgramRun runProgram(const std::string& program, const std::vector<std::string>& arguments,
                      const ProgramFiles& files = {});

#endif
