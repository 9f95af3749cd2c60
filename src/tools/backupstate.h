#ifndef QUORVA_TOOLS_BACKUPSTATE_H
#define QUORVA_TOOLS_BACKUPSTATE_H

#include <QString>

#include <string>

namespace Ctl {

class Session;

/** What the backup of an environment does at the moment. */
struct BackupState {
    QString state; // "none", "copying", "shipping" or "stopping"
    std::string target;

    bool isRunning() const { return state == "copying" || state == "shipping"; }
    /** A copy, or what follows it, to a directory: a stop takes effect a moment after it was asked for. */
    bool isCopying(const std::string& directory) const
    {
        return (state == "copying" || state == "stopping") && isTo(directory);
    }
    bool isShipping(const std::string& directory) const { return state == "shipping" && isTo(directory); }
    bool isTo(const std::string& directory) const;
};

/** Asks the server for it. An exit code; what is wrong has been told in a message that `failed` begins. */
[[nodiscard]] int askState(Session* session, const std::string& table, const std::string& failed, BackupState* state);

} // namespace Ctl

#endif
