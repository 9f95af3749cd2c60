#include "tools/screen.h"

#include "tools/terminaltext.h"

#include <cerrno>
#include <string_view>

#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace Ctl {

namespace {

// The other screen, without a cursor and without wrapping lines; and back.
constexpr std::string_view Enter = "\033[?1049h\033[?25l\033[?7l";
constexpr std::string_view Leave = "\033[?7h\033[?25h\033[?1049l";
constexpr std::string_view ToTop = "\033[H";
constexpr std::string_view ToBottom = "\033[9999;1H";
constexpr std::string_view EraseLine = "\033[K";
constexpr std::string_view EraseBelow = "\033[J";
constexpr std::string_view Reverse = "\033[7m";
constexpr std::string_view Plain = "\033[0m";

bool write(std::string_view text)
{
    while (!text.empty()) {
        const ssize_t size = ::write(STDOUT_FILENO, text.data(), text.size());
        if (size < 0 && errno != EINTR)
            return false;
        text.remove_prefix(size < 0 ? 0 : static_cast<std::size_t>(size));
    }
    return true;
}

std::string cut(const std::string& text, int columns)
{
    return TerminalText::cut(QString::fromStdString(text), columns).toStdString();
}

/** What follows an escape character immediately, as sent by keys without a character: "[A", "[5~", "OA". */
std::string takeSequence()
{
    std::string sequence;
    char byte = 0;
    pollfd more{STDIN_FILENO, POLLIN, 0};
    const auto isWhole = [&] { return sequence.size() > 1 && byte >= '@' && byte <= '~'; };
    while (!isWhole() && ::poll(&more, 1, 0) > 0 && ::read(STDIN_FILENO, &byte, 1) == 1)
        sequence += byte;
    return sequence;
}

} // namespace

Screen::Screen()
{
    hasKeys_ = ::tcgetattr(STDIN_FILENO, &before_) == 0;
    enter();
}

Screen::~Screen()
{
    leave();
}

void Screen::enter()
{
    if (isEntered_)
        return;
    isEntered_ = true;
    if (hasKeys_) {
        termios keys = before_;
        keys.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO); // Ctrl-C and the like still raise signals
        keys.c_cc[VMIN] = 1;
        keys.c_cc[VTIME] = 0;
        (void)::tcsetattr(STDIN_FILENO, TCSANOW, &keys); // ignored: keys then arrive line by line
    }
    (void)write(Enter); // ignored: drawing will fail as well
}

void Screen::leave()
{
    if (!isEntered_)
        return;
    isEntered_ = false;
    (void)write(Leave); // ignored, like the next: the terminal may be gone
    if (hasKeys_)
        (void)::tcsetattr(STDIN_FILENO, TCSAFLUSH, &before_);
}

Screen::Size Screen::size()
{
    winsize size{};
    if (::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 && size.ws_row > 0)
        return {size.ws_col, size.ws_row};
    return {80, 24};
}

// Not static, as there must be a screen. NOLINTNEXTLINE(readability-convert-member-functions-to-static)
bool Screen::draw(const std::vector<std::string>& lines, const std::string& footer)
{
    const auto [columns, height] = size();
    std::string text(ToTop);
    for (int i = 0; i < height - 1 && i < static_cast<int>(lines.size()); ++i)
        text.append(cut(lines[static_cast<std::size_t>(i)], columns)).append(EraseLine).append("\r\n");
    text.append(EraseBelow).append(ToBottom).append(Reverse).append(cut(footer, columns)).append(Plain);
    return write(text.append(EraseLine));
}

// Not static, as there must be a screen. NOLINTNEXTLINE(readability-convert-member-functions-to-static)
int Screen::takeKey()
{
    char key = 0;
    const ssize_t taken = ::read(STDIN_FILENO, &key, 1);
    if (taken != 1)
        return taken < 0 && (errno == EINTR || errno == EAGAIN) ? NoKey : Gone;
    if (key != '\033')
        return static_cast<unsigned char>(key);
    const std::string sequence = takeSequence();
    if (sequence == "[A" || sequence == "OA")
        return Up;
    return sequence == "[B" || sequence == "OB" ? int{Down} : int{NoKey};
}

} // namespace Ctl
