#include "tools/progressbar.h"

#include "tools/messages.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace Ctl {

namespace {

/** 0:07, 12:34, 1:00:00 */
std::string duration(double seconds)
{
    constexpr double Longest = 99 * 3600; // a longer estimate is meaningless
    const auto whole = static_cast<int>(std::lround(std::min(seconds, Longest)));
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
    std::string counts = counted(progress.items, "item") + "  " + std::to_string(static_cast<long long>(rate)) + "/s";
    if (progress.all >= 0) {
        const bool complete = progress.done >= progress.all;
        const double fraction = complete ? 1 : static_cast<double>(progress.done) / static_cast<double>(progress.all);
        char percent[16];
        std::snprintf(percent, sizeof percent, "%3d %%", static_cast<int>(fraction * 100));
        counts = std::string(percent) + "  " + counts;
        if (!complete && progress.done > 0)
            counts += "  " + duration(progress.seconds * (1 - fraction) / fraction) + " left";
        constexpr int LongestBar = 40;
        constexpr int ShortestBar = 5;
        const int length = std::min(LongestBar, width - static_cast<int>(counts.size()) - 5);
        if (length >= ShortestBar)
            counts = bar(fraction, length) + "  " + counts;
    }
    return counts.substr(0, static_cast<size_t>(std::max(width - 1, 0)));
}

ProgressBar::ProgressBar(qint64 all, When when)
    : all_(all), line_(when != When::Never), log_(when == When::Always && !line_.isEnabled())
{}

void ProgressBar::show(long long items, qint64 done)
{
    if (!isEnabled())
        return;
    const auto since = Clock::now() - drawn_;
    const bool isDue = log_ ? since > std::chrono::seconds(10) : since > std::chrono::milliseconds(100);
    if (isDue || (!log_ && !line_.isShown()))
        draw(items, done);
}

void ProgressBar::finish(long long items, qint64 done)
{
    draw(items, done);
    line_.end();
}

void ProgressBar::draw(long long items, qint64 done)
{
    drawn_ = Clock::now();
    const double seconds = std::chrono::duration<double>(drawn_ - began_).count();
    const std::string text = progressLine({items, seconds, done, all_}, TerminalLine::width());
    if (log_)
        std::fprintf(stderr, "%s\n", text.c_str());
    else
        line_.show(text);
}

} // namespace Ctl
