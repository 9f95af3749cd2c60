#ifndef QUORVA_TOOLS_EXPORTCOMMAND_H
#define QUORVA_TOOLS_EXPORTCOMMAND_H

#include "tools/command.h"
#include "tools/pagedread.h"

#include <string>

namespace Ctl {

/** "export TABLE [FILE]": writes all items of a table, one per line, in the format that import reads. */
class ExportCommand : public Command {
public:
    explicit ExportCommand(CLI::App* app);

    int run(const ServerAddress& server) override;

private:
    int read(const ServerAddress& server, const PagedRead::Sink& sink) const;

    std::string table_;
    std::string file_ = "-"; // standard output
    PageOptions options_;
    bool progress_ = false; // show it in any case
};

} // namespace Ctl

#endif
