#ifndef QUORVA_TESTS_TOOLS_TERMINALPROGRAM_H
#define QUORVA_TESTS_TOOLS_TERMINALPROGRAM_H

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

#include <termios.h>

/**
 * A program with its own terminal, which is its input, its output and its controlling terminal. The destructor kills
 * it. For one thread at a time.
 */
class TerminalProgram {
public:
    TerminalProgram(const std::string& program, const std::vector<std::string>& arguments, int columns = 200,
                    int lines = 40);
    ~TerminalProgram();
    TerminalProgram(const TerminalProgram&) = delete;
    TerminalProgram& operator=(const TerminalProgram&) = delete;

    void type(const std::string& keys);
    void resize(int columns, int lines);
    void signal(int number) const;

    /** What it has drawn since it last went to the top, without control sequences; lines end with "\n". */
    std::string screen();
    /** Waits until that meets a condition, and returns it; a test failure at the deadline. */
    std::string waitForScreen(const std::function<bool(const std::string& screen)>& condition);
    std::string waitForScreen(const std::string& part);

    /** Waits until it is stopped. */
    void waitForStop() const;
    /** Waits for its end. Its exit status, or the negative number of the signal that ended it. */
    int wait();

    /** All it has written. */
    const std::string& output();
    /** The terminal's settings. */
    termios settings() const;

private:
    bool read();

    int terminal_ = -1;
    pid_t id_ = -1;
    std::string output_;
};

#endif
