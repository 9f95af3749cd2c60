#ifndef QUORVA_TOOLS_BACKUPSTATE_H
#define QUORVA_TOOLS_BACKUPSTATE_H

#include "protocol/administration.h"

#include <QString>

#include <string>

namespace Ctl {

class Session;

/** The current state of an environment's backup. */
struct BackupState {
    QString state; // one of BackupStates
    std::string target;

    bool isRunning() const { return state == BackupStates::Copying || state == BackupStates::Shipping; }
    /** Whether a copy to a directory is running or stopping: a stop takes effect a moment after its request. */
    bool isCopying(const std::string& directory) const
    {
        return (state == BackupStates::Copying || state == BackupStates::Stopping) && isTo(directory);
    }
    bool isShipping(const std::string& directory) const { return state == BackupStates::Shipping && isTo(directory); }
    bool isTo(const std::string& directory) const;
};

/** Asks the server for it. Returns an exit code; errors have been reported with messages that begin with `failed`. */
[[nodiscard]] int askState(Session* session, const std::string& table, const std::string& failed, BackupState* state);

} // namespace Ctl

#endif
