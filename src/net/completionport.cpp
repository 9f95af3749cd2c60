#include "net/completionport.h"

#include "base/wakeuppreemption.h"

#include <QMutexLocker>

#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <thread>
#include <utility>

namespace {

/**
 * Arming a socket hands the connection to the thread that takes its event, and that thread may close the socket
 * immediately. ThreadSanitizer's epoll_ctl interceptor treats the descriptor as in use by the arming thread slightly
 * longer, and sees no happens-before between EPOLL_CTL_MOD and the event. So this call bypasses it.
 */
int controlEpoll(int epoll, int operation, int socket, epoll_event* event)
{
#if defined(__SANITIZE_THREAD__)
    return static_cast<int>(syscall(SYS_epoll_ctl, epoll, operation, socket, event));
#else
    return epoll_ctl(epoll, operation, socket, event);
#endif
}

} // namespace

int CompletionPort::open()
{
    if (isOpen_)
        return 0;
    const QMutexLocker locker(&creationMutex_);
    if (isOpen_)
        return 0;

    Base::Descriptor epoll(epoll_create1(EPOLL_CLOEXEC));
    Base::Descriptor stopEvent(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    epoll_event event{};
    event.events = EPOLLIN; // neither one-shot nor ever read: wakes every waiting thread
    if (!epoll.isOpen() || !stopEvent.isOpen() ||
        epoll_ctl(epoll.number(), EPOLL_CTL_ADD, stopEvent.number(), &event) != 0)
        return -1; // closing them leaves errno alone, as that cannot fail
    epoll_ = std::move(epoll);
    stopEvent_ = std::move(stopEvent);
    isOpen_ = true;
    return 0;
}

int CompletionPort::associate(int socket, void* key, std::uint32_t events)
{
    return control(EPOLL_CTL_ADD, socket, key, events);
}

int CompletionPort::arm(int socket, void* key, std::uint32_t events)
{
    return control(EPOLL_CTL_MOD, socket, key, events);
}

int CompletionPort::control(int operation, int socket, void* key, std::uint32_t events)
{
    epoll_event event{};
    event.events = events | EPOLLONESHOT;
    event.data.ptr = key;
    return controlEpoll(epoll_.number(), operation, socket, &event);
}

void* CompletionPort::next()
{
    epoll_event event{};
    const int inAll = ++waiting_;
    const bool othersRun = inAll < mostWaiting_;
    if (!othersRun)
        mostWaiting_ = inAll; // of concurrent writers any value will do: all of them wait again and again
    if (!othersRun || !takeReady(&event)) {
        Base::WakeupPreemption::beforeRequest();
        while (!take(&event, -1)) {
            // EINTR: a wait without limit can fail in no other way.
        }
    }
    --waiting_;
    return event.data.ptr;
}

/** One event per call leaves the rest to other workers. */
bool CompletionPort::take(epoll_event* event, int milliseconds)
{
    return epoll_wait(epoll_.number(), event, 1, milliseconds) == 1;
}

/**
 * Takes an event that is there, or lets other threads run once, so that there may be one when this returns false. With
 * a few clients, a worker that has answered one is usually ahead of the next request by less than it takes to put it to
 * sleep and wake another. Once, as a processor with nothing else to do must get its rest, and one thread at a time: the
 * processors are for those who send requests. And only while another worker runs: a single client would wait longer.
 */
bool CompletionPort::takeReady(epoll_event* event)
{
    if (isLooking_.exchange(true))
        return false;
    const bool taken = take(event, 0);
    if (!taken)
        std::this_thread::yield();
    isLooking_ = false;
    return taken;
}

void CompletionPort::stop()
{
    if (isOpen_)
        (void)eventfd_write(stopEvent_.number(), 1); // fails only if already signalled
}
