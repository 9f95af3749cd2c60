#ifndef QUORVA_TOOLS_COMMANDLIST_H
#define QUORVA_TOOLS_COMMANDLIST_H

#include "tools/command.h"

#include <memory>
#include <vector>

namespace Ctl {

/** The commands of the program, or the subcommands of a command, in the order in which the help lists them. */
class CommandList {
public:
    /** `app` is the parser that the commands are declared to; it must outlive the list. */
    explicit CommandList(CLI::App* app) : app_(app) {}

    template <class AnyCommand, class... Arguments> void add(const Arguments&... arguments)
    {
        commands_.push_back(std::make_unique<AnyCommand>(app_, arguments...));
    }

    /** The command that the parsed command line asks for; null if there is none. */
    Command* chosen() const;
    /** Runs the chosen command; there must be one. Returns an ExitCode. */
    [[nodiscard]] int runChosen(const ServerAddress& server) const { return chosen()->run(server); }

private:
    CLI::App* const app_;
    std::vector<std::unique_ptr<Command>> commands_;
};

} // namespace Ctl

#endif
