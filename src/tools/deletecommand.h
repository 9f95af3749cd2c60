#ifndef QUORVA_TOOLS_DELETECOMMAND_H
#define QUORVA_TOOLS_DELETECOMMAND_H

#include "tools/command.h"
#include "tools/itemoptions.h"

#include <string>

namespace Ctl {

/** "delete TABLE HASH RANGE": deletes an item; a missing one is not an error. */
class DeleteCommand : public Command {
public:
    explicit DeleteCommand(CLI::App* app);

    int run(const ServerAddress& server) override;

private:
    std::string table_;
    KeyArguments key_;
    ConditionOptions conditions_;
    OldItemOption oldItem_;
};

} // namespace Ctl

#endif
