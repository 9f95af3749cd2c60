#ifndef QUORVA_TOOLS_PAGER_H
#define QUORVA_TOOLS_PAGER_H

#include <string>
#include <string_view>

#include <sys/types.h>

namespace Ctl {

/**
 * Shows the output of a command on the terminal: directly while it fits on the screen, and in a pager as soon as it is
 * longer. The pager is the shell command in PAGER, or the system's default pager; an empty PAGER means none.
 */
class Pager {
public:
    Pager();
    ~Pager();
    Pager(const Pager&) = delete;
    Pager& operator=(const Pager&) = delete;

    /** Whether output should be passed through here at all. */
    bool isUsed() const { return !command_.empty(); }
    /**
     * Shows the output read from a descriptor, and returns at its end, or when the user leaves the pager. The process
     * should ignore SIGPIPE.
     */
    void show(int source);

private:
    void count(std::string_view text);
    bool start();
    void wait();

    const std::string command_;
    int rows_ = 0; // of the screen
    int columns_ = 0;
    int lines_ = 0;    // screen lines that the text takes so far
    int column_ = 0;   // in the last one
    std::string held_; // text that may fit on the screen
    pid_t id_ = -1;
    int target_ = -1; // the pager's input
};

} // namespace Ctl

#endif
