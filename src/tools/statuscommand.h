#ifndef QUORVA_TOOLS_STATUSCOMMAND_H
#define QUORVA_TOOLS_STATUSCOMMAND_H

#include "tools/command.h"

namespace Ctl {

/** "status": prints the server's state. */
class StatusCommand : public Command {
public:
    explicit StatusCommand(CLI::App* app);

    int run(const ServerAddress& server) override;

private:
    bool json_ = false;
};

} // namespace Ctl

#endif
