#ifndef QUORVA_TOOLS_COMMAND_H
#define QUORVA_TOOLS_COMMAND_H

#include "tools/exitcode.h"
#include "tools/serveraddress.h"

namespace CLI {
class App;
}

namespace Ctl {

/**
 * A command of quorvactl. Each one is a class in files of its own and has a line in the list in commands.cpp. Its
 * constructor declares its arguments to the command line, which writes their values into the command's members when it
 * is parsed; `run` then does the work.
 */
class Command {
public:
    virtual ~Command() = default;
    Command(const Command&) = delete;
    Command& operator=(const Command&) = delete;

    /** Whether the parsed command line asks for this command. */
    virtual bool chosen() const;

    /** Does what the command line asks for and returns an ExitCode. Whatever went wrong has been reported. */
    [[nodiscard]] virtual int run(const ServerAddress& server) = 0;

protected:
    /**
     * Adds the command `name` to `app`, which is the program or a command with subcommands. `purpose` and `example`, a
     * whole command line, are shown by its help. The options that say where the server is are accepted behind it.
     */
    Command(CLI::App* app, const char* name, const char* purpose, const char* example);

    /** What the arguments are declared to. */
    CLI::App* parser() { return parser_; }

private:
    CLI::App* const parser_; // owned by `app`
};

} // namespace Ctl

#endif
