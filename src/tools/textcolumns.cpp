#include "tools/textcolumns.h"

#include "tools/terminaltext.h"

#include <algorithm>
#include <numeric>

namespace Ctl {

namespace {

constexpr int Gap = 2; // between two columns

} // namespace

std::vector<std::string> TextColumns::lines(int width) const
{
    const std::vector<int> all = widths();
    const std::vector<std::size_t> shown = chosen(all, width);
    const auto lineOf = [&](auto&& cellOf) {
        std::string text;
        for (const std::size_t i : shown) {
            const std::string& cell = cellOf(i);
            const std::string filling(static_cast<std::size_t>(all[i] - TerminalText::width(cell)), ' ');
            text += i == shown.front() ? "" : std::string(Gap, ' ');
            text += columns_[i].align == Align::Left ? cell + filling : filling + cell;
        }
        text.erase(text.find_last_not_of(' ') + 1);
        return text;
    };
    std::vector<std::string> texts{lineOf([this](std::size_t i) { return columns_[i].title; })};
    if (rule_ == Rule::Yes)
        texts.push_back(lineOf([&](std::size_t i) { return std::string(static_cast<std::size_t>(all[i]), '-'); }));
    for (const auto& cells : lines_)
        texts.push_back(lineOf([&](std::size_t i) { return cells[i]; }));
    return texts;
}

std::vector<int> TextColumns::widths() const
{
    std::vector<int> widths;
    for (std::size_t i = 0; i < columns_.size(); ++i) {
        widths.push_back(TerminalText::width(columns_[i].title));
        for (const auto& cells : lines_)
            widths[i] = std::max(widths[i], TerminalText::width(cells[i]));
    }
    return widths;
}

std::vector<std::size_t> TextColumns::chosen(const std::vector<int>& widths, int width) const
{
    std::vector<std::size_t> byRank(columns_.size());
    std::iota(byRank.begin(), byRank.end(), 0);
    std::stable_sort(byRank.begin(), byRank.end(),
                     [this](std::size_t a, std::size_t b) { return columns_[a].rank < columns_[b].rank; });
    std::vector<std::size_t> chosen;
    long long taken = -Gap;
    for (const std::size_t i : byRank) {
        if (columns_[i].rank > 0 && taken + Gap + widths[i] > width)
            continue;
        taken += Gap + widths[i];
        chosen.push_back(i);
    }
    std::sort(chosen.begin(), chosen.end());
    return chosen;
}

} // namespace Ctl
