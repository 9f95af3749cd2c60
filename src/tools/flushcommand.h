#ifndef QUORVA_TOOLS_FLUSHCOMMAND_H
#define QUORVA_TOOLS_FLUSHCOMMAND_H

#include "tools/command.h"

#include <string>

namespace Ctl {

/** "flush TABLE": forces the log of the table's environment to disk. */
class FlushCommand : public Command {
public:
    explicit FlushCommand(CLI::App* app);

    int run(const ServerAddress& server) override;

private:
    std::string table_;
};

} // namespace Ctl

#endif
