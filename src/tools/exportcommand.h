#ifndef QUORVA_TOOLS_EXPORTCOMMAND_H
#define QUORVA_TOOLS_EXPORTCOMMAND_H

#include "tools/pagedread.h"

#include <CLI/CLI.hpp>

#include <string>

namespace Ctl {

/** "export TABLE [FILE]": writes all items of a table, one a line, in the form that import reads. */
class ExportCommand {
public:
    explicit ExportCommand(CLI::App* app);

    bool chosen() const { return command_->parsed(); }
    int run(const ServerAddress& server) const;

private:
    int read(const ServerAddress& server, const PagedRead::Sink& sink) const;

    CLI::App* const command_; // owned by the application
    std::string table_;
    std::string file_ = "-"; // standard output
    PageOptions options_;
};

} // namespace Ctl

#endif
