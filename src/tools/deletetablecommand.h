#ifndef QUORVA_TOOLS_DELETETABLECOMMAND_H
#define QUORVA_TOOLS_DELETETABLECOMMAND_H

#include "tools/command.h"

#include <string>

namespace Ctl {

/** "delete-table TABLE": closes the table's environment; the files remain. */
class DeleteTableCommand : public Command {
public:
    explicit DeleteTableCommand(CLI::App* app);

    int run(const ServerAddress& server) override;

private:
    std::string table_;
};

} // namespace Ctl

#endif
