#ifndef QUORVA_TOOLS_INTERRUPTION_H
#define QUORVA_TOOLS_INTERRUPTION_H

#include <vector>

#include <poll.h>

namespace Ctl {

/**
 * While an instance exists, the first SIGINT, SIGTERM or SIGHUP only asks the command to finish cleanly; the second one
 * terminates the process. Ignored signals stay ignored. At most one instance at a time, on the main thread.
 */
class Interruption {
public:
    Interruption();
    ~Interruption();
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;

    static bool requested();
    /**
     * Like poll(), with a timeout in milliseconds; -1 is none. Returns false if an interruption came first. A failure
     * counts as readiness of all descriptors, since using them will report it.
     */
    [[nodiscard]] static bool wait(std::vector<pollfd>* watched, int timeout);
    /** Waits until the descriptor is readable or at its end. Returns false if an interruption came first. */
    [[nodiscard]] static bool waitReadable(int descriptor);
};

} // namespace Ctl

#endif
