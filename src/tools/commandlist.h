#ifndef QUORVA_TOOLS_COMMANDLIST_H
#define QUORVA_TOOLS_COMMANDLIST_H

#include "tools/command.h"

#include <memory>
#include <vector>

namespace Ctl {

/** The commands of the program, or the subcommands of a command, in the order in which the help lists them. */
class CommandList {
public:
    /** `app` is what the commands are declared to; it has to outlive the list. */
    explicit CommandList(CLI::App* app) : app_(app) {}

    template <class AnyCommand> void add() { commands_.push_back(std::make_unique<AnyCommand>(app_)); }

    /** Runs the command that was chosen; there has to be one. Returns an ExitCode. */
    [[nodiscard]] int runChosen(const ServerAddress& server) const;

private:
    CLI::App* const app_;
    std::vector<std::unique_ptr<Command>> commands_;
};

} // namespace Ctl

#endif
