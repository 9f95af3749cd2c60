#ifndef QUORVA_TOOLS_COMPACTCOMMAND_H
#define QUORVA_TOOLS_COMPACTCOMMAND_H

#include "tools/command.h"

#include <QVariantMap>

#include <cstdint>
#include <string>
#include <vector>

namespace Ctl {

class Session;
class TerminalLine;

/** "compact DIR|TABLE": has the server free the space of deleted items, while it serves other requests. */
class CompactCommand : public Command {
public:
    explicit CompactCommand(CLI::App* app);

    int run(const ServerAddress& server) override;

private:
    struct Sizes {
        std::uint64_t before = 0;
        std::uint64_t after = 0;
    };

    int findTables(Session* session, std::vector<std::string>* tables) const;
    static int compactTable(Session* session, const std::string& table, Sizes* sizes, TerminalLine* line);
    static int compactFile(Session* session, const std::string& table, int partition, Sizes* sizes);

    std::string target_;
};

} // namespace Ctl

#endif
