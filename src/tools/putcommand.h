#ifndef QUORVA_TOOLS_PUTCOMMAND_H
#define QUORVA_TOOLS_PUTCOMMAND_H

#include "tools/itemoptions.h"

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

namespace Ctl {

/** "put TABLE ITEM...": stores an item in place of the one with the same keys. */
class PutCommand {
public:
    explicit PutCommand(CLI::App* app);

    bool chosen() const { return command_->parsed(); }
    int run(const ServerAddress& server) const;

private:
    CLI::App* const command_; // owned by the application
    std::string table_;
    std::vector<std::string> item_;
    std::string wanted_ = "none";
    ConditionOptions conditions_;
};

} // namespace Ctl

#endif
