#ifndef QUORVA_TOOLS_CREATETABLECOMMAND_H
#define QUORVA_TOOLS_CREATETABLECOMMAND_H

#include "tools/command.h"

#include <string>

namespace Ctl {

/** "create-table TABLE HASHNAME RANGENAME": creates a table with these key attributes. */
class CreateTableCommand : public Command {
public:
    explicit CreateTableCommand(CLI::App* app);

    int run(const ServerAddress& server) override;

private:
    std::string table_;
    std::string hashName_;
    std::string rangeName_;
    bool replace_ = false;
};

} // namespace Ctl

#endif
