#ifndef QUORVA_TOOLS_DESCRIBECOMMAND_H
#define QUORVA_TOOLS_DESCRIBECOMMAND_H

#include "tools/command.h"

#include <string>

namespace Ctl {

/** "describe TABLE": prints the server's description of a table. */
class DescribeCommand : public Command {
public:
    explicit DescribeCommand(CLI::App* app);

    int run(const ServerAddress& server) override;
    bool isPaged() const override { return true; }

private:
    std::string table_;
    bool json_ = false;
};

} // namespace Ctl

#endif
