#ifndef QUORVA_TOOLS_TOPCOMMAND_H
#define QUORVA_TOOLS_TOPCOMMAND_H

#include "tools/command.h"

namespace Ctl {

/** "top": shows what the server is doing, on a screen or as blocks of text. */
class TopCommand : public Command {
public:
    explicit TopCommand(CLI::App* app);

    int run(const ServerAddress& server) override;

private:
    double interval_ = 2; // seconds
    int count_ = 0;       // blocks; 0: until a signal
};

} // namespace Ctl

#endif
