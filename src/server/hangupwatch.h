#ifndef QUORVA_SERVER_HANGUPWATCH_H
#define QUORVA_SERVER_HANGUPWATCH_H

#include "base/descriptor.h"

#include <QSocketNotifier>

#include <functional>
#include <memory>

/**
 * Calls a function in the event loop for SIGHUP, which does not terminate a process that has blocked it. Used by the
 * main thread, where the loop runs.
 */
class HangupWatch {
public:
    /** Blocks the signal for the calling thread and those that it starts. Call before any other thread exists. */
    static void block();

    /** `onHangup` is also called for a signal that has arrived since block(). */
    explicit HangupWatch(std::function<void()> onHangup);

private:
    void takeSignals();

    const std::function<void()> onHangup_;
    Base::Descriptor signals_;
    std::unique_ptr<QSocketNotifier> notifier_; // null if there was no descriptor for it
};

#endif
