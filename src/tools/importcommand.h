#ifndef QUORVA_TOOLS_IMPORTCOMMAND_H
#define QUORVA_TOOLS_IMPORTCOMMAND_H

#include "tools/command.h"
#include "tools/itemformat.h"

#include <string>
#include <vector>

namespace Ctl {

/** "import TABLE [FILE]": stores the items of a file. */
class ImportCommand : public Command {
public:
    explicit ImportCommand(CLI::App* app);

    int run(const ServerAddress& server) override;

private:
    std::string table_;
    std::string file_ = "-"; // standard input
    std::string state_;      // empty: none is kept
    long long skip_ = 0;     // lines
    ItemFormat format_ = ItemFormat::Json;
    std::vector<std::string> types_; // of the columns of CSV
    bool progress_ = false;          // show it even without a terminal
};

} // namespace Ctl

#endif
