#ifndef QUORVA_TOOLS_TABLESCOMMAND_H
#define QUORVA_TOOLS_TABLESCOMMAND_H

#include "tools/command.h"

#include <string>

namespace Ctl {

/** "tables DIR": lists the tables in a directory. */
class TablesCommand : public Command {
public:
    explicit TablesCommand(CLI::App* app);

    int run(const ServerAddress& server) override;

private:
    std::string directory_;
    bool json_ = false;
};

} // namespace Ctl

#endif
