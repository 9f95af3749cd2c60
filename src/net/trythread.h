#ifndef QUORVA_NET_TRYTHREAD_H
#define QUORVA_NET_TRYTHREAD_H

#include <new>
#include <system_error>
#include <thread>
#include <utility>

namespace Net {

/**
 * A thread that runs `work`; one that is not joinable when the system has none to give.
 *
 * The threads of this layer are no QThreads: each of those opens a descriptor for an event loop that nobody runs, and
 * the process is aborted when none is left.
 */
template <typename Work> [[nodiscard]] std::thread tryThread(Work work)
{
    try {
        return std::thread(std::move(work));
    } catch (const std::system_error&) {
        return {};
    } catch (const std::bad_alloc&) {
        return {};
    }
}

} // namespace Net

#endif
