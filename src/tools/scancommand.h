#ifndef QUORVA_TOOLS_SCANCOMMAND_H
#define QUORVA_TOOLS_SCANCOMMAND_H

#include "tools/pagedread.h"

namespace Ctl {

/** "scan TABLE": prints all items of a table. */
class ScanCommand {
public:
    explicit ScanCommand(CLI::App* app);

    bool chosen() const { return command_->parsed(); }
    int run(const ServerAddress& server) const;

private:
    CLI::App* const command_; // owned by the application
    std::string table_;
    PageOptions options_;
};

} // namespace Ctl

#endif
