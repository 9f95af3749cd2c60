#ifndef QUORVA_TOOLS_HELPCOMMAND_H
#define QUORVA_TOOLS_HELPCOMMAND_H

#include "tools/command.h"

#include <string>
#include <vector>

namespace Ctl {

/** "help [COMMAND...]": prints what --help after the command prints. */
class HelpCommand : public Command {
public:
    /** `app` is the program, which knows all commands. */
    explicit HelpCommand(CLI::App* app);

    int run(const ServerAddress& server) override;
    bool isPaged() const override { return true; }

private:
    const CLI::App* const app_;
    std::vector<std::string> words_; // a command, and one of its subcommands
};

} // namespace Ctl

#endif
