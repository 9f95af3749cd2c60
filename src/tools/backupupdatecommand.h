#ifndef QUORVA_TOOLS_BACKUPUPDATECOMMAND_H
#define QUORVA_TOOLS_BACKUPUPDATECOMMAND_H

#include "tools/backupdirectory.h"
#include "tools/command.h"

#include <string>

namespace Ctl {

/** "backup update TABLE DIR": ships log files to the directory of an earlier copy. */
class BackupUpdateCommand : public Command {
public:
    explicit BackupUpdateCommand(CLI::App* backup);

    int run(const ServerAddress& server) override;

private:
    std::string table_;
    BackupDirectory directory_;
};

} // namespace Ctl

#endif
