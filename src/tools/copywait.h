#ifndef QUORVA_TOOLS_COPYWAIT_H
#define QUORVA_TOOLS_COPYWAIT_H

#include <chrono>
#include <optional>
#include <string>

namespace Ctl {

class CopyTarget;
class Session;

/**
 * Waits for a full copy that was requested from the server. The server refuses a copy immediately, but only after its
 * reply. The wait ends according to the state that the server reports, and the files show the result. The marker alone
 * proves nothing, as others can delete it or rename its directory.
 *
 * Both functions return an exit code; errors have been reported.
 */
class CopyWait {
public:
    /**
     * What happens to a copy that fails, for the advice: the user has to remove its marker, or the caller removes it.
     */
    enum class FailedCopy { Stays, IsTakenBack };

    /** The caller keeps ownership of the session and the target. `directory` is the target's absolute path. */
    CopyWait(Session* session, std::string table, std::string directory, CopyTarget* target,
             FailedCopy failed = FailedCopy::Stays);

    /** Waits until the copy has visibly started, or for a few seconds. */
    [[nodiscard]] int untilBegun();

    /**
     * Waits until the copy is complete, or has not grown for `stall`, or an Interruption is requested. Shows its size
     * on a terminal.
     */
    [[nodiscard]] int untilComplete(std::chrono::seconds stall);

private:
    std::optional<int> check();
    int conclude();
    void complainFailed() const;

    Session* const session_;
    const std::string table_;
    const std::string directory_;
    CopyTarget* const target_;
    const FailedCopy failed_;
    bool hasBegun_ = false;
};

/** Reports that the server may or may not have started the copy, and what to do about the marker. */
void complainMarkerStays(const CopyTarget& target);

} // namespace Ctl

#endif
