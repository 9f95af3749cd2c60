#ifndef QUORVA_TOOLS_DELETECOMMAND_H
#define QUORVA_TOOLS_DELETECOMMAND_H

#include "tools/itemoptions.h"

#include <CLI/CLI.hpp>

#include <string>

namespace Ctl {

/** "delete TABLE HASH RANGE": deletes an item; one that is not there is no error. */
class DeleteCommand {
public:
    explicit DeleteCommand(CLI::App* app);

    bool chosen() const { return command_->parsed(); }
    int run(const ServerAddress& server);

private:
    CLI::App* const command_; // owned by the application
    std::string table_;
    KeyArguments key_;
    std::string wanted_ = "none";
    ConditionOptions conditions_;
};

} // namespace Ctl

#endif
