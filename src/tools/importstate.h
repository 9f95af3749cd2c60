#ifndef QUORVA_TOOLS_IMPORTSTATE_H
#define QUORVA_TOOLS_IMPORTSTATE_H

#include <string>

namespace Ctl {

/** How far an import came. */
struct ImportMark {
    long long line = 0; // all lines up to this one are stored or were refused
    long long stored = 0;
    long long refused = 0;
};

/**
 * The file that keeps an import's mark from one run to the next, as JSON: which table, which input, and the mark. It is
 * replaced as a whole, so that it is readable whenever the tool was ended. After a loss of power it may be an older
 * one, or not be readable.
 */
class ImportState {
public:
    /** An empty path keeps nothing. `input` is the input's absolute path, or "-". */
    ImportState(std::string path, std::string table, std::string input);

    /** Reads the mark of an earlier run; without a file there is none. An empty string or what is wrong. */
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
