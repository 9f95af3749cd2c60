#ifndef QUORVA_TESTS_BACKUP_TERMINALRUN_H
#define QUORVA_TESTS_BACKUP_TERMINALRUN_H

#include "support/tempdir.h"
#include "tools/programrun.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

/** Runs a program to its end as runProgram() does, but its standard error is a terminal. */
inline ProgramRun runOnTerminal(const std::string& program, std::vector<std::string> words)
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

    words.insert(words.begin(), program);
    std::vector<char*> pointers;
    for (std::string& word : words)
        pointers.push_back(word.data());
    pointers.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, output.c_str(), O_WRONLY | O_CREAT, 0600);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, name.c_str(), O_WRONLY | O_NOCTTY, 0);
    pid_t id = -1;
    const int failure = posix_spawn(&id, program.c_str(), &actions, nullptr, pointers.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (failure != 0) {
        ADD_FAILURE() << program << ": errno " << failure;
        close(terminal);
        return run;
    }
    // What was written stays readable after the program's end, and then the read fails.
    char piece[4096];
    for (ssize_t size = 0; (size = read(terminal, piece, sizeof piece)) > 0;)
        run.error.append(piece, static_cast<std::size_t>(size));
    close(terminal);
    int status = 0;
    while (waitpid(id, &status, 0) < 0 && errno == EINTR) {
    }
    run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    std::ifstream file(output, std::ios::binary);
    run.output.assign(std::istreambuf_iterator<char>(file), {});
    return run;
}

#endif
