#ifndef QUORVA_TOOLS_TEXTCOLUMNS_H
#define QUORVA_TOOLS_TEXTCOLUMNS_H

#include <string>
#include <vector>

namespace Ctl {

/** Lines of cells in aligned columns, two blanks apart, for a terminal. */
class TextColumns {
public:
    enum class Align { Left, Right };

    struct Column {
        std::string title;
        Align align = Align::Left;
    };

    explicit TextColumns(std::vector<Column> columns) : columns_(std::move(columns)) {}

    /** Adds a line; there is a cell for each column. */
    void add(std::vector<std::string> cells) { lines_.push_back(std::move(cells)); }

    bool isEmpty() const { return lines_.empty(); }

    /** The titles and the lines, without blanks at their ends. */
    std::vector<std::string> lines() const;

private:
    const std::vector<Column> columns_;
    std::vector<std::vector<std::string>> lines_;
};

/** The number of characters of a text in UTF-8, as the columns count them. */
std::size_t widthOf(const std::string& text);

} // namespace Ctl

#endif
