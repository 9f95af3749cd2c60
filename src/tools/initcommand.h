#ifndef QUORVA_TOOLS_INITCOMMAND_H
#define QUORVA_TOOLS_INITCOMMAND_H

#include "tools/command.h"

#include <optional>
#include <string>

namespace Ctl {

/**
 * "init [--cache SIZE] [--force] DIR": creates a directory for tables, with settings that suit most disks. Needs no
 * server.
 */
class InitCommand : public Command {
public:
    explicit InitCommand(CLI::App* app);

    int run(const ServerAddress& server) override;

private:
    std::string directory_;
    std::optional<std::string> cache_;
    bool force_ = false;
};

} // namespace Ctl

#endif
