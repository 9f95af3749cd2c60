#ifndef QUORVA_TOOLS_TEXTCOLUMNS_H
#define QUORVA_TOOLS_TEXTCOLUMNS_H

#include <cstddef>
#include <limits>
#include <string>
#include <utility>
#include <vector>

namespace Ctl {

/** Lines of cells in aligned columns, two spaces apart, for a terminal. The cells have no control characters. */
class TextColumns {
public:
    enum class Align { Left, Right };

    struct Column {
        std::string title;
        Align align = Align::Left;
        /** Above 0: it may be omitted where there is no room for it; columns of the lowest rank are kept longest. */
        int rank = 0;
    };

    /** Whether there is a line of dashes below the titles. */
    enum class Rule { No, Yes };

    explicit TextColumns(std::vector<Column> columns, Rule rule = Rule::No) : columns_(std::move(columns)), rule_(rule)
    {}

    /** Adds a line; there is a cell for each column. */
    void add(std::vector<std::string> cells) { lines_.push_back(std::move(cells)); }

    bool isEmpty() const { return lines_.empty(); }

    static constexpr int AnyWidth = std::numeric_limits<int>::max();

    /** The titles and the lines, without trailing spaces, with the columns that fit into `width`. */
    std::vector<std::string> lines(int width = AnyWidth) const;

private:
    std::vector<int> widths() const;
    /** The indices of the columns to show. */
    std::vector<std::size_t> chosen(const std::vector<int>& widths, int width) const;

    const std::vector<Column> columns_;
    const Rule rule_;
    std::vector<std::vector<std::string>> lines_;
};

} // namespace Ctl

#endif
