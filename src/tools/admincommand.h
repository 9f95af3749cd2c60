#ifndef QUORVA_TOOLS_ADMINCOMMAND_H
#define QUORVA_TOOLS_ADMINCOMMAND_H

#include "tools/command.h"

#include <CLI/CLI.hpp>

#include <string>

namespace Ctl {

class CopyTarget;
class Session;

/** "flush TABLE": forces the log of the table's environment to disk. */
class FlushCommand {
public:
    explicit FlushCommand(CLI::App* app);

    bool chosen() const { return command_->parsed(); }
    int run(const ServerAddress& server) const;

private:
    CLI::App* const command_; // owned by the application
    std::string table_;
};

/** "backup start|update|stop": hot backup of the environment that a table is in. */
class BackupCommand {
public:
    explicit BackupCommand(CLI::App* app);

    bool chosen() const { return command_->parsed(); }
    int run(const ServerAddress& server) const;

private:
    int start(const ServerAddress& server) const;
    int checkNoOther(Session* session, const std::string& directory) const;
    int follow(Session* session, const std::string& directory, CopyTarget* target) const;
    int update(const ServerAddress& server) const;
    int checkDirectory(std::string* directory) const;

    CLI::App* const command_; // owned by the application, as all of these
    CLI::App* start_;
    CLI::App* update_;
    CLI::App* stop_;
    std::string table_;
    std::string directory_;
    bool wait_ = false;
    bool replace_ = false;
    int stallSeconds_ = 60;
};

} // namespace Ctl

#endif
