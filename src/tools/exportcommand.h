#ifndef QUORVA_TOOLS_EXPORTCOMMAND_H
#define QUORVA_TOOLS_EXPORTCOMMAND_H

#include "tools/command.h"
#include "tools/itemformat.h"
#include "tools/pagedread.h"

#include <functional>
#include <string>

namespace Ctl {

/** "export TABLE [FILE]": writes all items of a table, one per line, in a format that import reads. */
class ExportCommand : public Command {
public:
    explicit ExportCommand(CLI::App* app);

    int run(const ServerAddress& server) override;

private:
    /** Receives a line of the file and returns an exit code; any but ExitOk ends the export. */
    using LineSink = std::function<int(const QByteArray& line)>;

    int read(const ServerAddress& server, const LineSink& sink) const;

    std::string table_;
    std::string file_ = "-"; // standard output
    ItemFormat format_ = ItemFormat::Json;
    PageOptions options_;
    bool progress_ = false; // show it even without a terminal
};

} // namespace Ctl

#endif
