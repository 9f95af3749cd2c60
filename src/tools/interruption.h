#ifndef QUORVA_TOOLS_INTERRUPTION_H
#define QUORVA_TOOLS_INTERRUPTION_H

namespace Ctl {

/**
 * While one of these lives, the first SIGINT, SIGTERM or SIGHUP only asks the command to end in good order; the second
 * one ends the process. Signals that are ignored stay so. At most one at a time, of the main thread.
 */
class Interruption {
public:
    Interruption();
    ~Interruption();
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;

    static bool requested();
    /** Waits until the descriptor can be read, or has ended. False when an interruption came before that. */
    [[nodiscard]] static bool waitReadable(int descriptor);
};

} // namespace Ctl

#endif
