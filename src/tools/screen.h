#ifndef QUORVA_TOOLS_SCREEN_H
#define QUORVA_TOOLS_SCREEN_H

#include <string>
#include <vector>

#include <termios.h>

namespace Ctl {

/**
 * The terminal at standard output as a screen that is redrawn as a whole, with escape sequences that every current
 * terminal supports. While an instance exists, the terminal's previous content is hidden, and keys are read one by one,
 * without echo, if standard input is a terminal too. The destructor restores everything. For the main thread.
 */
class Screen {
public:
    Screen();
    ~Screen();
    Screen(const Screen&) = delete;
    Screen& operator=(const Screen&) = delete;

    struct Size {
        int columns;
        int lines;
    };
    static Size size();

    /**
     * Shows these lines from the top, truncated at the right, and `footer` at the bottom; lines that do not fit above
     * it are omitted. False if the terminal is gone.
     */
    [[nodiscard]] bool draw(const std::vector<std::string>& lines, const std::string& footer);

    /** Readable when a key has been typed; -1 if there is no keyboard. */
    int keyDescriptor() const { return hasKeys_ ? 0 : -1; }
    enum Key : int { NoKey = 0, Up = 256, Down, Gone };
    /** The next key, if there is one: its character or one of Key; NoKey for others, Gone if the terminal is gone.
     */
    int takeKey();

    /** Releases the terminal for a while, as when the program is stopped, and takes it again. */
    void leave();
    void enter();

private:
    bool hasKeys_ = false;
    bool isEntered_ = false;
    termios before_{}; // if hasKeys_
};

} // namespace Ctl

#endif
