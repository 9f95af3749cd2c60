#include "tools/textcolumns.h"

#include <algorithm>

namespace Ctl {

std::vector<std::string> TextColumns::lines() const
{
    std::vector<std::vector<std::string>> all(1);
    for (const Column& column : columns_)
        all.front().push_back(column.title);
    all.insert(all.end(), lines_.begin(), lines_.end());
    std::vector<std::size_t> widths(columns_.size());
    for (const auto& cells : all) {
        for (std::size_t i = 0; i < cells.size(); ++i)
            widths[i] = std::max(widths[i], widthOf(cells[i]));
    }
    std::vector<std::string> texts;
    for (const auto& cells : all) {
        std::string text;
        for (std::size_t i = 0; i < cells.size(); ++i) {
            const std::string filling(widths[i] - widthOf(cells[i]), ' ');
            text += i == 0 ? "" : "  ";
            text += columns_[i].align == Align::Left ? cells[i] + filling : filling + cells[i];
        }
        text.erase(text.find_last_not_of(' ') + 1);
        texts.push_back(text);
    }
    return texts;
}

std::size_t widthOf(const std::string& text)
{
    return static_cast<std::size_t>(
        std::count_if(text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xc0) != 0x80; }));
}

} // namespace Ctl
