#ifndef QUORVA_TOOLS_CHECKCOMMAND_H
#define QUORVA_TOOLS_CHECKCOMMAND_H

#include "tools/command.h"

#include <string>

namespace Ctl {

/** "check DIR": verifies a directory that no server has open. Needs no server. */
class CheckCommand : public Command {
public:
    explicit CheckCommand(CLI::App* app);

    int run(const ServerAddress& server) override;

private:
    std::string directory_;
    std::string scratch_;
};

} // namespace Ctl

#endif
