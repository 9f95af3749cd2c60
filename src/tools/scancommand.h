#ifndef QUORVA_TOOLS_SCANCOMMAND_H
#define QUORVA_TOOLS_SCANCOMMAND_H

#include "tools/command.h"
#include "tools/pagedread.h"

namespace Ctl {

/** "scan TABLE": prints all items of a table. */
class ScanCommand : public Command {
public:
    explicit ScanCommand(CLI::App* app);

    int run(const ServerAddress& server) override;
    bool isPaged() const override { return true; }

private:
    std::string table_;
    PageOptions options_;
};

} // namespace Ctl

#endif
