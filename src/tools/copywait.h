#ifndef QUORVA_TOOLS_COPYWAIT_H
#define QUORVA_TOOLS_COPYWAIT_H

#include <chrono>
#include <optional>
#include <string>

namespace Ctl {

class CopyTarget;
class Session;

/**
 * Waits for a full copy that the server has been asked for. What the server refuses, it refuses at once, but after its
 * reply. The server's word ends the waiting, and the files tell how the copy went. The marker alone says nothing, as
 * others can delete it, or rename its directory.
 *
 * Both functions return an exit code; what is wrong has been told.
 */
class CopyWait {
public:
    /** The session and the target stay the caller's. `directory` is the target's absolute path. */
    CopyWait(Session* session, std::string table, std::string directory, CopyTarget* target);

    /** Until the copy is seen to have begun, or for a few seconds. */
    [[nodiscard]] int untilBegun();

    /** Until the copy is complete, or has not grown for `stall`. Shows its size on a terminal. */
    [[nodiscard]] int untilComplete(std::chrono::seconds stall);

private:
    std::optional<int> check();
    int conclude();

    Session* const session_;
    const std::string table_;
    const std::string directory_;
    CopyTarget* const target_;
    bool hasBegun_ = false;
};

/** Tells that it is not known whether the server began the copy, and what to do about the marker. */
void complainMarkerStays(const CopyTarget& target);

} // namespace Ctl

#endif
