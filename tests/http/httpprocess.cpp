#include "http/httpprocess.h"

#include "support/waituntil.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>

HttpProcess::~HttpProcess()
{
    if (pid_ < 0)
        return;
    if (hasEnded() && !endExpected_)
        ADD_FAILURE() << "quorva-http ended by itself: " << errorText();
    kill(SIGKILL);
    (void)waitForExit(); // ignored: what matters about the end was told above
}

bool HttpProcess::start(int serverPort, const std::vector<std::string>& arguments)
{
    std::vector<std::string> words{QUORVA_HTTP_BINARY, "--listen", "0", "--port", std::to_string(serverPort)};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> pointers;
    for (std::string& word : words)
        pointers.push_back(word.data());
    pointers.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, directory_.file("stderr").c_str(),
                                     O_WRONLY | O_CREAT | O_TRUNC | O_APPEND, 0600);
    const int failure = posix_spawn(&pid_, words.front().c_str(), &actions, nullptr, pointers.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (failure != 0) {
        ADD_FAILURE() << words.front() << ": " << std::strerror(failure);
        return false;
    }
    const std::string mark = "listening on 127.0.0.1:";
    (void)waitUntil([&] { return errorText().ends_with('\n') || hasEnded(); }, Deadline); // ignored: the text tells
    const std::string text = errorText();
    const std::size_t at = text.find(mark);
    if (at == std::string::npos) {
        ADD_FAILURE() << "quorva-http did not start: " << text;
        return false;
    }
    port_ = std::atoi(text.c_str() + at + mark.size());
    return true;
}

void HttpProcess::kill(int signal)
{
    endExpected_ = true;
    if (::kill(pid_, signal) != 0)
        ADD_FAILURE() << "kill: " << std::strerror(errno);
}

std::optional<int> HttpProcess::waitForExit()
{
    endExpected_ = true;
    if (!waitUntil([this] { return hasEnded(); }, Deadline))
        return std::nullopt;
    int status = 0;
    while (waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
    }
    pid_ = -1;
    const std::string errors = errorText();
    if (errors.find("Sanitizer") != std::string::npos || errors.find("runtime error: ") != std::string::npos)
        ADD_FAILURE() << "quorva-http wrote a sanitizer report: " << errors;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

std::string HttpProcess::errorText() const
{
    std::ifstream file(directory_.file("stderr"), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

bool HttpProcess::hasEnded() const
{
    siginfo_t info{};
    // WNOWAIT leaves it unreaped, so its number stays ours.
    return waitid(P_PID, static_cast<id_t>(pid_), &info, WEXITED | WNOHANG | WNOWAIT) != 0 || info.si_pid != 0;
}
