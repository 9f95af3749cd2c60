#ifndef QUORVA_TOOLS_IMPORTCOMMAND_H
#define QUORVA_TOOLS_IMPORTCOMMAND_H

#include "tools/command.h"

#include <CLI/CLI.hpp>

#include <string>

namespace Ctl {

/** "import TABLE [FILE]": stores the items of a file, one a line. */
class ImportCommand {
public:
    explicit ImportCommand(CLI::App* app);

    bool chosen() const { return command_->parsed(); }
    int run(const ServerAddress& server) const;

private:
    CLI::App* const command_; // owned by the application
    std::string table_;
    std::string file_ = "-"; // standard input
    std::string state_;      // empty: none is kept
    long long skip_ = 0;     // lines
};

} // namespace Ctl

#endif
