#ifndef QUORVA_TOOLS_STANDBYCOMMAND_H
#define QUORVA_TOOLS_STANDBYCOMMAND_H

#include "tools/command.h"

#include <string>

namespace Ctl {

class Standby;

/** "standby BACKUPDIR TARGETDIR": keeps a directory up to date with a backup, so that another server can take over. */
class StandbyCommand : public Command {
public:
    explicit StandbyCommand(CLI::App* app);

    int run(const ServerAddress& server) override;

private:
    int checkWords();
    int follow(Standby* standby) const;
    int catchUpOnce(Standby* standby) const;
    int switchOver(Standby* standby) const;
    int reportProgress(const Standby& standby) const;

    std::string backup_; // empty: switch without it
    std::string target_;
    bool follow_ = false;
    bool switch_ = false;
};

} // namespace Ctl

#endif
