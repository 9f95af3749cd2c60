#ifndef QUORVA_TOOLS_COMMAND_H
#define QUORVA_TOOLS_COMMAND_H

#include "tools/exitcode.h"
#include "tools/serveraddress.h"

namespace CLI {
class App;
}

namespace Ctl {

/**
 * A command of quorvactl. Each is a class in its own files and has a line in the list in commands.cpp. Its constructor
 * declares its arguments to the command-line parser, which stores their values in the command's members; `run` then
 * does the work.
 */
class Command {
public:
    virtual ~Command() = default;
    Command(const Command&) = delete;
    Command& operator=(const Command&) = delete;

    /** Whether the parsed command line asks for this command. */
    virtual bool chosen() const;

    /** Runs the command and returns an ExitCode. Errors have been reported. */
    [[nodiscard]] virtual int run(const ServerAddress& server) = 0;

    /** Whether the interactive shell shows its output in a pager, if that is longer than the screen. */
    virtual bool isPaged() const { return false; }

protected:
    /**
     * Adds the command `name` to `app`, which is the program or a command with subcommands. Its help shows `purpose`
     * and `example`, a whole command line. The options for the server's address are accepted after it.
     */
    Command(CLI::App* app, const char* name, const char* purpose, const char* example);

    /** The parser to declare the arguments to. */
    CLI::App* parser() { return parser_; }

private:
    CLI::App* const parser_; // owned by `app`
};

} // namespace Ctl

#endif
