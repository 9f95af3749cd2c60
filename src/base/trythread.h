#ifndef QUORVA_BASE_TRYTHREAD_H
#define QUORVA_BASE_TRYTHREAD_H

#include "base/wakeuppreemption.h"

#include <new>
#include <system_error>
#include <thread>
#include <utility>

namespace Base {

/**
 * A thread that runs `work`; not joinable if none can be created.
 *
 * A QThread is not used: it opens a descriptor for an event loop that is never run, and aborts the process if no
 * descriptor is left.
 */
template <typename Work> [[nodiscard]] std::thread tryThread(Work work)
{
    WakeupPreemption::regain();
    try {
        return std::thread(std::move(work));
    } catch (const std::system_error&) {
        return {};
    } catch (const std::bad_alloc&) {
        return {};
    }
}

} // namespace Base

#endif
