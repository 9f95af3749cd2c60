#ifndef QUORVA_TOOLS_PUTCOMMAND_H
#define QUORVA_TOOLS_PUTCOMMAND_H

#include "tools/command.h"
#include "tools/itemoptions.h"

#include <string>
#include <vector>

namespace Ctl {

/** "put TABLE ITEM...": stores an item, replacing any with the same keys. */
class PutCommand : public Command {
public:
    explicit PutCommand(CLI::App* app);

    int run(const ServerAddress& server) override;

private:
    std::string table_;
    std::vector<std::string> item_;
    ConditionOptions conditions_;
    OldItemOption oldItem_;
};

} // namespace Ctl

#endif
