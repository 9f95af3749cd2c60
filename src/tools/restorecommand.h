#ifndef QUORVA_TOOLS_RESTORECOMMAND_H
#define QUORVA_TOOLS_RESTORECOMMAND_H

#include "tools/command.h"

#include <CLI/CLI.hpp>

#include <string>

namespace Ctl {

/** "restore [--without-list] BACKUPDIR TARGETDIR": makes an environment directory out of a hot backup. Needs no server.
 */
class RestoreCommand {
public:
    explicit RestoreCommand(CLI::App* app);

    bool chosen() const { return command_->parsed(); }
    int run() const;

private:
    CLI::App* const command_; // owned by the application
    std::string backup_;
    std::string target_;
    bool withoutList_ = false;
};

} // namespace Ctl

#endif
