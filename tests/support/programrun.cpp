#include "support/programrun.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fstream>
#include <utility>

namespace {

/** As a null-terminated array for system calls; the strings must outlive the result. */
std::vector<char*> pointers(std::vector<std::string>& strings)
{
    std::vector<char*> result;
    for (std::string& string : strings)
        result.push_back(string.data());
    result.push_back(nullptr);
    return result;
}

} // namespace

pid_t startProgram(const std::string& program, const std::vector<std::string>& arguments, const std::string& input,
                   const std::string& output, const std::string& error, std::vector<std::string> environment)
{
    std::vector<std::string> words = arguments;
    words.insert(words.begin(), program);

    constexpr int Write = O_WRONLY | O_CREAT | O_APPEND | O_NOCTTY;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, input.c_str(), O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, output.c_str(), Write, 0600);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, error.c_str(), Write, 0600);
    pid_t id = -1;
    const int failure = posix_spawnp(&id, program.c_str(), &actions, nullptr, pointers(words).data(),
                                     environment.empty() ? environ : pointers(environment).data());
    posix_spawn_file_actions_destroy(&actions);
    if (failure != 0) {
        ADD_FAILURE() << program << ": " << std::strerror(failure);
        return -1;
    }
    return id;
}

bool hasEnded(pid_t id)
{
    siginfo_t info{};
    return waitid(P_PID, static_cast<id_t>(id), &info, WEXITED | WNOHANG | WNOWAIT) != 0 || info.si_pid != 0;
}

void expectNoSanitizerReport(const std::string& program, const std::string& error)
{
    for (const char* mark : {"Sanitizer", "runtime error: "}) {
        if (error.find(mark) != std::string::npos)
            ADD_FAILURE() << program << " wrote a sanitizer report: " << error;
    }
}

int reapProgram(pid_t id)
{
    int status = 0;
    while (waitpid(id, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

RunningProgram::RunningProgram(const std::string& program, const std::vector<std::string>& arguments,
                               const ProgramFiles& files)
    : output_(files.output.empty() ? directory_.file("output") : files.output), collectsOutput_(files.output.empty()),
      id_(startProgram(program, arguments, files.input, output_, directory_.file("error")))
{}

RunningProgram::~RunningProgram()
{
    if (id_ < 0)
        return;
    signal(SIGKILL);
    (void)wait();
}

void RunningProgram::signal(int number) const
{
    if (id_ > 0)
        ::kill(id_, number);
}

ProgramRun RunningProgram::wait()
{
    ProgramRun run;
    if (id_ < 0)
        return run;
    run.status = reapProgram(std::exchange(id_, -1));
    run.output = collectsOutput_ ? readFile(output_) : std::string();
    run.error = errorText();
    return run;
}

std::string RunningProgram::errorText() const
{
    return readFile(directory_.file("error"));
}

ProgramRun runProgram(const std::string& program, const std::vector<std::string>& arguments, const ProgramFiles& files)
{
    return RunningProgram(program, arguments, files).wait();
}
