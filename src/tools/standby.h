#ifndef QUORVA_TOOLS_STANDBY_H
#define QUORVA_TOOLS_STANDBY_H

#include "tools/standbylogs.h"
#include "tools/standbytarget.h"

#include <filesystem>
#include <map>
#include <string>

namespace Ctl {

/** The result of an attempt to catch up. */
struct CatchUp {
    enum Result {
        Done,    // it has everything that the backup has
        Waiting, // something in the backup is missing or cannot be read, which may change
        Failed,
    };
    Result result = Done;
    std::string message; // why it is not done
    bool moved = false;  // something has been applied
};

/**
 * A directory that follows a backup: the databases of its full copy, to which the log is applied as it is shipped. Each
 * round recovers the databases from the log files that have arrived, preceded by those since the last checkpoint.
 * Recovery applies a change to a page only if the page is in the state before it, so an interrupted round can be
 * repeated.
 *
 * Functions that return a string return an empty one, or an error message. They end early when an Interruption is
 * requested.
 */
class Standby {
public:
    explicit Standby(const std::filesystem::path& target) : target_(target), logs_(target_.logDirectory()) {}

    /** Opens the target, and begins a new standby if there is none. */
    [[nodiscard]] std::string open(const std::filesystem::path& backup);
    /** Opens an existing standby, without its backup. */
    [[nodiscard]] std::string openExisting() { return target_.openExisting(); }

    /** Fetches and applies what the backup has. */
    [[nodiscard]] CatchUp catchUp(const std::filesystem::path& backup);

    /** Makes the target a directory that servers can open; `items` receives the number of items of each table. */
    [[nodiscard]] std::string switchOver(std::map<std::string, long long>* items);

    const StandbyProgress& progress() const { return target_.progress(); }
    /** Whether only the last steps of a switch remain, which need no backup. */
    bool isSwitching() const { return progress().stage == StandbyProgress::Switching; }

private:
    std::string begin(const std::filesystem::path& backup);
    std::string apply(const StandbyProgress& after);
    std::string takeLog();

    StandbyTarget target_;
    StandbyLogs logs_;
};

} // namespace Ctl

#endif
