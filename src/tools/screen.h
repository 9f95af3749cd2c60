#ifndef QUORVA_TOOLS_SCREEN_H
#define QUORVA_TOOLS_SCREEN_H

#include <string>
#include <vector>

#include <termios.h>

namespace Ctl {

/**
 * The terminal at standard output as a screen that is redrawn as a whole, in plain escape sequences that every terminal
 * of today understands. While an instance exists, what was on the terminal before is hidden, and the keys typed are
 * read one by one, without echo, if standard input is a terminal too. The destructor restores all of it. For the main
 * thread.
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
     * Shows these lines from the top, cut off at the right, and `footer` at the bottom; what does not fit above that is
     * left out. False when the terminal is gone.
     */
    [[nodiscard]] bool draw(const std::vector<std::string>& lines, const std::string& footer);

    /** A key is typed when this descriptor is readable; -1 if there is no keyboard. */
    int keyDescriptor() const { return hasKeys_ ? 0 : -1; }
    enum Key : int { NoKey = 0, Up = 256, Down, Gone };
    /** The next key, when there is one: its character or one of Key; NoKey for others, Gone when the terminal is gone.
     */
    int takeKey();

    /** Gives the terminal back for a while, as when the program is stopped, and takes it again. */
    void leave();
    void enter();

private:
    bool hasKeys_ = false;
    bool isEntered_ = false;
    termios before_{}; // if hasKeys_
};

} // namespace Ctl

#endif
