#ifndef QUORVA_TOOLS_TERMINALLINE_H
#define QUORVA_TOOLS_TERMINALLINE_H

#include <string>

namespace Ctl {

/**
 * A progress line on standard error that is redrawn in place, if that is a terminal; otherwise nothing is shown. Call
 * clear() before printing a message there, as complain() does. For the main thread; only one line is shown at a time.
 */
class TerminalLine {
public:
    /** `enabled` false shows nothing. */
    explicit TerminalLine(bool enabled = true);
    /** Leaves the line on the terminal, as end() does. */
    ~TerminalLine();
    TerminalLine(const TerminalLine&) = delete;
    TerminalLine& operator=(const TerminalLine&) = delete;

    /** Replaces the text of the line; it should be shorter than width(). */
    void show(const std::string& text);
    /** Leaves the line, if shown, as it is; further output begins below it. */
    void end();

    bool isEnabled() const { return enabled_; }
    bool isShown() const { return shown_ == this; }

    /** The number of columns of the terminal. */
    static int width();
    /** Erases the line, if one is shown; the next show() draws it again. */
    static void clear();

private:
    static TerminalLine* shown_;

    const bool enabled_;
};

} // namespace Ctl

#endif
