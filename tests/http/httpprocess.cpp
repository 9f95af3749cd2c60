#include "http/httpprocess.h"

#include "support/programrun.h"
#include "support/waituntil.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <utility>

HttpProcess::~HttpProcess()
{
    if (pid_ < 0)
        return;
    if (hasEnded() && !endExpected_)
        ADD_FAILURE() << "quorva-http ended by itself: " << errorText();
    kill(SIGKILL);
    (void)waitForExit(); // ignored: what matters about the end has been reported above
}

bool HttpProcess::start(int serverPort, const std::vector<std::string>& arguments,
                        const std::vector<std::string>& environment)
{
    std::vector<std::string> words{"--listen", "0", "--port", std::to_string(serverPort)};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::filesystem::remove(directory_.file("stderr")); // of an earlier start
    pid_ = startProgram(QUORVA_HTTP_BINARY, words, "/dev/null", "/dev/null", directory_.file("stderr"), environment);
    if (pid_ < 0)
        return false;
    const std::string mark = "listening on 127.0.0.1:";
    (void)waitUntil([&] { return errorText().ends_with('\n') || hasEnded(); }, Deadline); // ignored: see the text
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
    const int status = reapProgram(std::exchange(pid_, -1));
    expectNoSanitizerReport("quorva-http", errorText());
    return status;
}

std::string HttpProcess::errorText() const
{
    return readFile(directory_.file("stderr"));
}

bool HttpProcess::hasEnded() const
{
    return ::hasEnded(pid_);
}
