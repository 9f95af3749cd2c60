#include "tools/terminalline.h"

#include "tools/terminaltext.h"

#include <cstdio>

#include <sys/ioctl.h>
#include <unistd.h>

namespace Ctl {

namespace {

constexpr const char* Erase = "\r\033[K"; // moves to the beginning of the line and erases to its end

} // namespace

TerminalLine* TerminalLine::shown_ = nullptr;

TerminalLine::TerminalLine(bool enabled) : enabled_(enabled && ::isatty(STDERR_FILENO) != 0) {}

TerminalLine::~TerminalLine()
{
    end();
}

void TerminalLine::show(const std::string& text)
{
    if (!enabled_)
        return;
    std::fputs((Erase + TerminalText::printable(text)).c_str(), stderr);
    std::fflush(stderr);
    shown_ = this;
}

// Not const, as it changes the state that the object represents. NOLINTNEXTLINE(readability-make-member-function-const)
void TerminalLine::end()
{
    if (!isShown())
        return;
    std::fputc('\n', stderr);
    shown_ = nullptr;
}

int TerminalLine::width()
{
    constexpr int Usual = 80;
    winsize size{};
    return ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : Usual;
}

void TerminalLine::clear()
{
    if (shown_ == nullptr)
        return;
    std::fputs(Erase, stderr);
    shown_ = nullptr;
}

} // namespace Ctl
