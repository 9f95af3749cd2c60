#ifndef QUORVA_TOOLS_BACKUPNIGHTLYCOMMAND_H
#define QUORVA_TOOLS_BACKUPNIGHTLYCOMMAND_H

#include "tools/command.h"
#include "tools/nightlybackup.h"

#include <filesystem>
#include <string>
#include <vector>

namespace Ctl {

/** "backup nightly DIRECTORY... --to DIR": a dated, verified copy of each directory, and the removal of old ones. */
class BackupNightlyCommand : public Command {
public:
    explicit BackupNightlyCommand(CLI::App* backup);

    int run(const ServerAddress& server) override;

private:
    int resolve(std::vector<std::filesystem::path>* directories, std::filesystem::path* to) const;

    std::vector<std::string> directories_;
    std::string to_;
    int keep_ = 7;
    bool noVerify_ = false;
    bool resume_ = false;
    NightlyOptions options_;
};

} // namespace Ctl

#endif
