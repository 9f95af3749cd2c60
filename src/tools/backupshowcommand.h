#ifndef QUORVA_TOOLS_BACKUPSHOWCOMMAND_H
#define QUORVA_TOOLS_BACKUPSHOWCOMMAND_H

#include "tools/command.h"

#include <string>

namespace Ctl {

/** "backup show DIR": what a backup, or a directory of dated copies, contains. Needs no server. */
class BackupShowCommand : public Command {
public:
    explicit BackupShowCommand(CLI::App* backup);

    int run(const ServerAddress& server) override;

private:
    std::string directory_;
};

} // namespace Ctl

#endif
