#ifndef QUORVA_TOOLS_BACKUPCOMMAND_H
#define QUORVA_TOOLS_BACKUPCOMMAND_H

#include "tools/commandlist.h"

namespace Ctl {

/** "backup start|update|stop|nightly|show": hot backup of the environment that contains a table. */
class BackupCommand : public Command {
public:
    explicit BackupCommand(CLI::App* app);

    int run(const ServerAddress& server) override;

private:
    CommandList actions_;
};

} // namespace Ctl

#endif
