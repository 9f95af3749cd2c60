#ifndef QUORVA_TOOLS_BACKUPSTOPCOMMAND_H
#define QUORVA_TOOLS_BACKUPSTOPCOMMAND_H

#include "tools/command.h"

#include <string>

namespace Ctl {

/** "backup stop TABLE": stops copying and shipping. */
class BackupStopCommand : public Command {
public:
    explicit BackupStopCommand(CLI::App* backup);

    int run(const ServerAddress& server) override;

private:
    std::string table_;
};

} // namespace Ctl

#endif
