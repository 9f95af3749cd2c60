#ifndef QUORVA_TOOLS_GETCOMMAND_H
#define QUORVA_TOOLS_GETCOMMAND_H

#include "tools/command.h"
#include "tools/itemoptions.h"
#include "tools/itemprinter.h"

#include <string>
#include <vector>

namespace Ctl {

/** "get TABLE HASH RANGE": prints an item. */
class GetCommand : public Command {
public:
    explicit GetCommand(CLI::App* app);

    int run(const ServerAddress& server) override;
    bool isPaged() const override { return true; }

private:
    std::string table_;
    KeyArguments key_;
    std::vector<std::string> attributes_;
    ItemForm form_;
};

} // namespace Ctl

#endif
