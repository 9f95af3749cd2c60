#include "terminalprogram.h"

#include "support/patterns.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>

#include <poll.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr std::chrono::seconds Longest{60};

} // namespace

TerminalProgram::TerminalProgram(const std::string& program, const std::vector<std::string>& arguments, int columns,
                                 int lines)
{
    std::vector<char*> words{const_cast<char*>(program.c_str())};
    for (const std::string& argument : arguments)
        words.push_back(const_cast<char*>(argument.c_str()));
    words.push_back(nullptr);
    const winsize size{static_cast<unsigned short>(lines), static_cast<unsigned short>(columns), 0, 0};
    id_ = forkpty(&terminal_, nullptr, nullptr, &size);
    if (id_ == 0) {
        execv(program.c_str(), words.data());
        _exit(127);
    }
    EXPECT_GT(id_, 0) << std::strerror(errno);
}

TerminalProgram::~TerminalProgram()
{
    if (id_ > 0) {
        ::kill(id_, SIGKILL);
        (void)waitpid(id_, nullptr, 0);
    }
    close(terminal_);
}

void TerminalProgram::type(const std::string& keys)
{
    EXPECT_EQ(write(terminal_, keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
}

void TerminalProgram::resize(int columns, int lines)
{
    const winsize size{static_cast<unsigned short>(lines), static_cast<unsigned short>(columns), 0, 0};
    EXPECT_EQ(ioctl(terminal_, TIOCSWINSZ, &size), 0);
}

void TerminalProgram::signal(int number) const
{
    EXPECT_EQ(::kill(id_, number), 0);
}

std::string TerminalProgram::screen()
{
    constexpr const char* Sequences = "\033\\[[0-9;?]*[A-Za-z]|\r";
    const std::string top = "\033[H";
    const std::size_t begin = output().rfind(top);
    return begin == std::string::npos ? std::string() : Patterns::without(output_.substr(begin), Sequences);
}

std::string TerminalProgram::waitForScreen(const std::function<bool(const std::string&)>& condition)
{
    const auto end = std::chrono::steady_clock::now() + Longest;
    for (;;) {
        const std::string shown = screen();
        if (condition(shown))
            return shown;
        if (std::chrono::steady_clock::now() > end) {
            ADD_FAILURE() << "not shown; shown is:\n" << shown;
            return shown;
        }
        pollfd watched{terminal_, POLLIN, 0};
        (void)poll(&watched, 1, 100);
    }
}

std::string TerminalProgram::waitForScreen(const std::string& part)
{
    SCOPED_TRACE(part);
    return waitForScreen([&](const std::string& shown) { return shown.find(part) != std::string::npos; });
}

void TerminalProgram::waitForStop() const
{
    int status = 0;
    EXPECT_EQ(waitpid(id_, &status, WUNTRACED), id_);
    EXPECT_TRUE(WIFSTOPPED(status));
}

int TerminalProgram::wait()
{
    const auto end = std::chrono::steady_clock::now() + Longest;
    int status = 0;
    while (waitpid(id_, &status, WNOHANG) == 0) {
        (void)output(); // so that it does not wait for room
        if (std::chrono::steady_clock::now() > end) {
            ADD_FAILURE() << "it does not end";
            return -1;
        }
        pollfd watched{terminal_, POLLIN, 0};
        (void)poll(&watched, 1, 10);
    }
    id_ = -1;
    (void)output();
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

const std::string& TerminalProgram::output()
{
    while (read()) {
    }
    return output_;
}

termios TerminalProgram::settings() const
{
    termios settings{};
    EXPECT_EQ(tcgetattr(terminal_, &settings), 0);
    return settings;
}

/** Reads what there is; false when there is nothing. */
bool TerminalProgram::read()
{
    char piece[4096];
    pollfd watched{terminal_, POLLIN, 0};
    const ssize_t size = poll(&watched, 1, 0) > 0 ? ::read(terminal_, piece, sizeof piece) : 0;
    if (size > 0)
        output_.append(piece, static_cast<std::size_t>(size));
    return size > 0;
}
