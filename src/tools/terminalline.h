#ifndef QUORVA_TOOLS_TERMINALLINE_H
#define QUORVA_TOOLS_TERMINALLINE_H

#include <string>

namespace Ctl {

/**
 * A line on standard error that is overwritten again and again to show progress, when that is a terminal; nothing
 * elsewhere. Whoever prints a message there calls clear() first, as complain() does. For the main thread; only one of
 * these is shown at a time.
 */
class TerminalLine {
public:
    /** `enabled` false shows nothing. */
    explicit TerminalLine(bool enabled = true);
    /** Leaves the line there, as end() does. */
    ~TerminalLine();
    TerminalLine(const TerminalLine&) = delete;
    TerminalLine& operator=(const TerminalLine&) = delete;

    /** Puts the text, which should be shorter than width(), in place of what the line showed. */
    void show(const std::string& text);
    /** Leaves the line as it is, when it is shown; what follows begins below it. */
    void end();

    bool isEnabled() const { return enabled_; }
    bool isShown() const { return shown_ == this; }

    /** The number of columns of the terminal. */
    static int width();
    /** Erases the line that is shown, when there is one; the next show() draws it again. */
    static void clear();

private:
    static TerminalLine* shown_;

    const bool enabled_;
};

} // namespace Ctl

#endif
