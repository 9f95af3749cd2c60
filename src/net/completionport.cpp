#include "net/completionport.h"

#include <QMutexLocker>

#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>

namespace {

void closeDescriptor(int descriptor)
{
    if (descriptor >= 0)
        ::close(descriptor);
}

/**
 * Arming a socket hands the connection to the thread that takes its event, and that thread may close the socket at
 * once. ThreadSanitizer's epoll_ctl interceptor treats the descriptor as in use by the arming thread slightly longer,
 * and sees no happens-before between EPOLL_CTL_MOD and the event. So this call bypasses it.
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

CompletionPort::~CompletionPort()
{
    closeDescriptor(epoll_);
    closeDescriptor(stopEvent_);
}

int CompletionPort::open()
{
    if (epoll_ >= 0)
        return 0;
    const QMutexLocker locker(&creationMutex_);
    if (epoll_ >= 0)
        return 0;

    const int epoll = epoll_create1(EPOLL_CLOEXEC);
    const int stopEvent = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    epoll_event event{};
    event.events = EPOLLIN; // neither one-shot nor ever read: wakes every waiting thread
    if (epoll < 0 || stopEvent < 0 || epoll_ctl(epoll, EPOLL_CTL_ADD, stopEvent, &event) != 0) {
        const int error = errno;
        closeDescriptor(epoll);
        closeDescriptor(stopEvent);
        errno = error;
        return -1;
    }
    stopEvent_ = stopEvent;
    epoll_ = epoll;
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
    return controlEpoll(epoll_, operation, socket, &event);
}

void* CompletionPort::next()
{
    // One event per call leaves the rest to other workers.
    epoll_event event{};
    ++waiting_;
    while (epoll_wait(epoll_, &event, 1, -1) != 1) {
        // EINTR: a wait without limit can fail in no other way.
    }
    --waiting_;
    return event.data.ptr;
}

void CompletionPort::stop()
{
    if (epoll_ >= 0)
        (void)eventfd_write(stopEvent_, 1); // fails only if already signalled
}
