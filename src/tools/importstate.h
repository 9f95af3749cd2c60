#ifndef QUORVA_TOOLS_IMPORTSTATE_H
#define QUORVA_TOOLS_IMPORTSTATE_H

#include <string>

namespace Ctl {

/** How far an import got. */
struct ImportMark {
    long long line = 0; // all lines up to this one are stored or were refused
    long long stored = 0;
    long long refused = 0;
};

/**
 * The file that keeps an import's mark between runs, as JSON: the table, the input and the mark. It is replaced
 * atomically, so it is readable whenever the tool exits or is killed. After a power failure it may be an older version,
 * or unreadable.
 */
class ImportState {
public:
    /** With an empty path nothing is kept. `input` is the input's absolute path, or "-". */
    ImportState(std::string path, std::string table, std::string input);

    /** Reads the mark of an earlier run; without a file there is none. Returns an empty string or an error message. */
    [[nodiscard]] std::string load(ImportMark* mark) const;
    [[nodiscard]] std::string save(const ImportMark& mark) const;
    void remove() const;

    bool isKept() const { return !path_.empty(); }

private:
    const std::string path_;
    const std::string table_;
    const std::string input_;
};

} // namespace Ctl

#endif
