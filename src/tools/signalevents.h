#ifndef QUORVA_TOOLS_SIGNALEVENTS_H
#define QUORVA_TOOLS_SIGNALEVENTS_H

#include "base/descriptor.h"

#include <csignal>
#include <initializer_list>

namespace Ctl {

/**
 * While an instance exists, these signals only make a descriptor readable, so that the program can shut down in an
 * orderly way, however many of them arrive. For a program that never blocks for long. At most one instance at a time,
 * on the main thread, while there is no other thread.
 */
class SignalEvents {
public:
    explicit SignalEvents(std::initializer_list<int> numbers);
    ~SignalEvents();
    SignalEvents(const SignalEvents&) = delete;
    SignalEvents& operator=(const SignalEvents&) = delete;

    /** Readable when a signal has arrived. */
    int descriptor() const { return descriptor_.number(); }
    /** The next signal that has arrived; 0 if none has. */
    int take();

private:
    sigset_t before_{};
    Base::Descriptor descriptor_;
};

} // namespace Ctl

#endif
