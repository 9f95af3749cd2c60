#ifndef QUORVA_TOOLS_BACKUPSTARTCOMMAND_H
#define QUORVA_TOOLS_BACKUPSTARTCOMMAND_H

#include "tools/backupdirectory.h"
#include "tools/command.h"

#include <string>

namespace Ctl {

class Session;

/** "backup start TABLE DIR": copies the environment to a directory, then ships its log files there. */
class BackupStartCommand : public Command {
public:
    explicit BackupStartCommand(CLI::App* backup);

    int run(const ServerAddress& server) override;

private:
    int checkNoOther(Session* session) const;

    std::string table_;
    BackupDirectory directory_;
    bool wait_ = false;
    bool replace_ = false;
    int stallSeconds_ = 60;
};

} // namespace Ctl

#endif
