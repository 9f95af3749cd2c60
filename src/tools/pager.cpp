#include "tools/pager.h"

#include "base/fileio.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Ctl {

namespace {

std::string pagerCommand()
{
    const char* named = std::getenv("PAGER");
    return named == nullptr ? "if command -v pager >/dev/null; then exec pager; else exec more; fi" : named;
}

} // namespace

Pager::Pager() : command_(pagerCommand())
{
    winsize size{};
    const bool isKnown = ::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0;
    rows_ = isKnown && size.ws_row > 0 ? size.ws_row : 24;
    columns_ = isKnown && size.ws_col > 0 ? size.ws_col : 80;
}

Pager::~Pager()
{
    wait();
}

void Pager::show(int source)
{
    char piece[16 * 1024];
    for (;;) {
        const ssize_t size = ::read(source, piece, sizeof piece);
        if (size < 0 && errno == EINTR)
            continue;
        if (size <= 0)
            break;
        const std::string_view text(piece, static_cast<std::size_t>(size));
        if (id_ < 0) {
            held_ += text;
            count(text);
            if (lines_ < rows_ - 1) // the prompt takes the last one
                continue;
            if (!start())
                break;
            if (Base::writeAll(target_, held_) != 0)
                break;
        } else if (Base::writeAll(target_, text) != 0) {
            break; // the user has left it
        }
    }
    if (id_ < 0)
        (void)Base::writeAll(STDOUT_FILENO, held_); // ignored: it fails only if the terminal is gone
    wait();
}

/** Counts screen lines; too few if there are characters wider than one column. */
void Pager::count(std::string_view text)
{
    for (const char byte : text) {
        const bool continues = (static_cast<unsigned char>(byte) & 0xc0) == 0x80; // a character of UTF-8
        if (byte == '\n') {
            ++lines_;
            column_ = 0;
        } else if (!continues && ++column_ > columns_) {
            ++lines_;
            column_ = 1;
        }
    }
}

/** Returns false if no process can be created. */
bool Pager::start()
{
    int ends[2] = {-1, -1};
    if (::pipe2(ends, O_CLOEXEC) != 0)
        return false;
    id_ = ::fork();
    if (id_ == 0) {
        ::signal(SIGINT, SIG_DFL);
        ::signal(SIGQUIT, SIG_DFL);
        ::signal(SIGPIPE, SIG_DFL);
        ::dup2(ends[0], STDIN_FILENO);
        ::execl("/bin/sh", "sh", "-c", command_.c_str(), nullptr);
        ::_exit(127);
    }
    ::close(ends[0]);
    if (id_ < 0) {
        ::close(ends[1]);
        return false;
    }
    target_ = ends[1];
    return true;
}

void Pager::wait()
{
    if (target_ >= 0)
        ::close(target_);
    target_ = -1;
    while (id_ >= 0 && ::waitpid(id_, nullptr, 0) < 0 && errno == EINTR) {
    }
    id_ = -1;
}

} // namespace Ctl
