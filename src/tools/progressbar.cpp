#include "tools/progressbar.h"

#include <algorithm>
#include <cstdio>

#include <sys/ioctl.h>
#include <unistd.h>

namespace Ctl {

namespace {

ProgressBar* shownBar = nullptr;

int terminalWidth()
{
    constexpr int Usual = 80;
    winsize size{};
    return ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : Usual;
}

/** 0:07, 12:34, 1:00:00 */
std::string duration(double seconds)
{
    constexpr double Longest = 99 * 3600; // more is a guess without a meaning
    const auto whole = static_cast<int>(std::min(seconds, Longest) + 0.5);
    char text[32];
    if (whole < 3600)
        std::snprintf(text, sizeof text, "%d:%02d", whole / 60, whole % 60);
    else
        std::snprintf(text, sizeof text, "%d:%02d:%02d", whole / 3600, whole / 60 % 60, whole % 60);
    return text;
}

/** A bar of `length` characters between brackets. */
std::string bar(double fraction, int length)
{
    const int filled = static_cast<int>(fraction * length);
    std::string text(static_cast<size_t>(filled), '=');
    if (filled < length)
        text += '>';
    text.resize(static_cast<size_t>(length), ' ');
    return '[' + text + ']';
}

} // namespace

std::string progressLine(const TransferProgress& progress, int width)
{
    const double rate = progress.seconds > 0 ? static_cast<double>(progress.items) / progress.seconds : 0;
    std::string counts =
        std::to_string(progress.items) + " items  " + std::to_string(static_cast<long long>(rate)) + "/s";
    if (progress.allBytes >= 0) {
        const bool complete = progress.doneBytes >= progress.allBytes;
        const double fraction =
            complete ? 1 : static_cast<double>(progress.doneBytes) / static_cast<double>(progress.allBytes);
        char percent[16];
        std::snprintf(percent, sizeof percent, "%3d %%", static_cast<int>(fraction * 100));
        counts = std::string(percent) + "  " + counts;
        if (!complete && progress.doneBytes > 0)
            counts += "  " + duration(progress.seconds * (1 - fraction) / fraction) + " left";
        constexpr int LongestBar = 40;
        constexpr int ShortestBar = 5;
        const int length = std::min(LongestBar, width - static_cast<int>(counts.size()) - 5);
        if (length >= ShortestBar)
            counts = bar(fraction, length) + "  " + counts;
    }
    return counts.substr(0, static_cast<size_t>(std::max(width - 1, 0)));
}

ProgressBar::ProgressBar(qint64 allBytes, bool enabled) : enabled_(enabled && ::isatty(STDERR_FILENO) != 0)
{
    progress_.allBytes = allBytes;
}

ProgressBar::~ProgressBar()
{
    if (shown_)
        std::fputc('\n', stderr);
    if (shownBar == this)
        shownBar = nullptr;
}

void ProgressBar::show(long long items, qint64 doneBytes)
{
    progress_.items = items;
    progress_.doneBytes = doneBytes;
    if (enabled_ && (!shown_ || Clock::now() - drawn_ > std::chrono::milliseconds(100)))
        draw();
}

void ProgressBar::finish(long long items, qint64 doneBytes)
{
    clearShown();
    show(items, doneBytes);
}

void ProgressBar::clearShown()
{
    if (shownBar == nullptr)
        return;
    std::fputs("\r\033[K", stderr);
    shownBar->shown_ = false;
    shownBar = nullptr;
}

void ProgressBar::draw()
{
    drawn_ = Clock::now();
    progress_.seconds = std::chrono::duration<double>(drawn_ - began_).count();
    std::fprintf(stderr, "\r\033[K%s", progressLine(progress_, terminalWidth()).c_str());
    std::fflush(stderr);
    shown_ = true;
    shownBar = this;
}

} // namespace Ctl
