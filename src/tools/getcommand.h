#ifndef QUORVA_TOOLS_GETCOMMAND_H
#define QUORVA_TOOLS_GETCOMMAND_H

#include "tools/itemoptions.h"

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

namespace Ctl {

/** "get TABLE HASH RANGE": prints an item. */
class GetCommand {
public:
    explicit GetCommand(CLI::App* app);

    bool chosen() const { return command_->parsed(); }
    int run(const ServerAddress& server);

private:
    CLI::App* const command_; // owned by the application
    std::string table_;
    KeyArguments key_;
    std::vector<std::string> attributes_;
};

} // namespace Ctl

#endif
