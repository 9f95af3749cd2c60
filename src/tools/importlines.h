#ifndef QUORVA_TOOLS_IMPORTLINES_H
#define QUORVA_TOOLS_IMPORTLINES_H

#include "tools/importstate.h"

#include <deque>
#include <vector>

namespace Ctl {

/**
 * The outcome of each line of an import. Batches complete in any order; the mark is the last line up to which all are
 * done. Memory: one byte for each line from there to the last one that was read.
 */
class ImportLines {
public:
    explicit ImportLines(const ImportMark& mark) : mark_(mark), all_(mark) {}

    /** The next line was read: it contains an item, whose outcome is still open. */
    void addItem() { beyond_.push_back(Outcome::Open); }
    /** The next line was read and contains none. */
    void addEmpty() { add(Outcome::Empty); }
    /** The next line was read and cannot be sent. */
    void addRefused();

    /** The item of a line was stored. */
    void setStored(long long line);
    /** The server refused the item of a line. The mark stays before it until confirmRefused(). */
    void setRefused(long long line);
    /** The server accepts other items, so the refused ones are themselves at fault and would be refused again. */
    void confirmRefused();

    /** The end of the lines that are done, with their counts. */
    const ImportMark& mark() const { return mark_; }
    /** The counts of all lines; `line` is the last one that was read. */
    ImportMark all() const;

private:
    enum class Outcome : char { Open, Empty, Stored, Refused };

    void add(Outcome outcome);
    void set(long long line, Outcome outcome);
    void moveMark();

    ImportMark mark_;
    ImportMark all_;             // `line` is not used
    std::deque<Outcome> beyond_; // of the lines after the mark
    std::vector<long long> doubtful_;
};

} // namespace Ctl

#endif
