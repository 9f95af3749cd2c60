#ifndef QUORVA_TOOLS_RESTORECOMMAND_H
#define QUORVA_TOOLS_RESTORECOMMAND_H

#include "tools/command.h"

#include <string>

namespace Ctl {

/**
 * "restore [--until TIME] [--without-list] BACKUPDIR TARGETDIR": creates an environment directory from a hot backup.
 * Needs no server.
 */
class RestoreCommand : public Command {
public:
    explicit RestoreCommand(CLI::App* app);

    int run(const ServerAddress& server) override;

private:
    std::string backup_;
    std::string target_;
    std::string until_;
    bool withoutList_ = false;
};

} // namespace Ctl

#endif
