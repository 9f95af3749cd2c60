#include "programrun.h"

#include "support/tempdir.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>

namespace {

std::string readFile(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

} // namespace

ProgramRun runProgram(const std::string& program, const std::vector<std::string>& arguments, const ProgramFiles& files)
{
    const TempDir directory;
    const std::string error = directory.file("error");
    const std::string output = files.output.empty() ? directory.file("output") : files.output;

    std::vector<std::string> words = arguments;
    words.insert(words.begin(), program);
    std::vector<char*> pointers;
    for (std::string& word : words)
        pointers.push_back(word.data());
    pointers.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, files.input.c_str(), O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, output.c_str(), O_WRONLY | O_CREAT, 0600);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, error.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
    pid_t id = -1;
    const int failure = posix_spawn(&id, program.c_str(), &actions, nullptr, pointers.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    ProgramRun run;
    if (failure != 0) {
        ADD_FAILURE() << program << ": " << std::strerror(failure);
        return run;
    }
    int status = 0;
    while (waitpid(id, &status, 0) < 0 && errno == EINTR) {
    }
    run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    run.output = files.output.empty() ? readFile(output) : std::string();
    run.error = readFile(error);
    return run;
}
