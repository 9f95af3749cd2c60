#ifndef QUORVA_TESTS_TOOLS_TERMINALRUN_H
#define QUORVA_TESTS_TOOLS_TERMINALRUN_H

#include "support/programrun.h"
#include "support/tempdir.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <string>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

/** Runs a program to completion, as runProgram() does, with a terminal as its standard error. */
inline ProgramRun runOnTerminal(const std::string& program, const std::vector<std::string>& words)
{
    const TempDir directory;
    const std::string output = directory.file("output");
    ProgramRun run;
    const int terminal = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (terminal < 0 || grantpt(terminal) != 0 || unlockpt(terminal) != 0) {
        ADD_FAILURE() << "no terminal: errno " << errno;
        return run;
    }
    const std::string name = ptsname(terminal);

    const pid_t id = startProgram(program, words, "/dev/null", output, name);
    if (id < 0) {
        close(terminal);
        return run;
    }
    // Output remains readable after the program has ended; after that, the read fails.
    char piece[4096];
    for (ssize_t size = 0; (size = read(terminal, piece, sizeof piece)) > 0;)
        run.error.append(piece, static_cast<std::size_t>(size));
    close(terminal);
    run.status = reapProgram(id);
    run.output = readFile(output);
    return run;
}

#endif
