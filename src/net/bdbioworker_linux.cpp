#include "net/bdbioworker_linux.h"

#include "base/descriptor.h"
#include "log/log.h"
#include "metrics/servercounters.h"
#include "net/bdbiomaster.h"
#include "net/bdbreqhandler_linux.h"
#include "net/completionport.h"
#include "net/dbhandler.h"

#include <QScopeGuard>

#include <fcntl.h>
#include <sys/epoll.h>
#include <sys/socket.h>

#include <cerrno>
#include <memory>
#include <new>
#include <utility>

namespace {

// A client that sends faster than its data is processed must not monopolize a worker. After 256 KiB the cost of
// going back through the port is negligible.
constexpr int PiecesInARow = 64;

BDBReqHandler_linux* ours(BDBReqHandler* handler)
{
    return static_cast<BDBReqHandler_linux*>(handler); // createHandler creates no others
}

ssize_t receive(int socket, char* buffer, std::size_t size)
{
    ssize_t received = 0;
    do
        received = recv(socket, buffer, size, 0);
    while (received < 0 && errno == EINTR);
    return received;
}

ssize_t sendOnce(int socket, const TransferBuffer& bytes)
{
    ssize_t sent = 0;
    do
        sent = send(socket, bytes.data, bytes.length, MSG_NOSIGNAL);
    while (sent < 0 && errno == EINTR);
    return sent;
}

} // namespace

int BDBIOWorker_linux::startWorker()
{
    if (isRunning()) {
        LOG_ERROR(LogOrigin::IoWorker, 67) << "Worker is already running";
        return -1;
    }
    if (master().port().open() != 0) {
        const int error = lastError();
        LOG_ERROR(LogOrigin::IoWorker, 76) << "IOCP port creation failed " << error;
        return -1;
    }
    return startThread() ? 0 : -1;
}

void BDBIOWorker_linux::run()
{
    while (void* key = master().port().next()) {
        auto* handler = static_cast<BDBReqHandler_linux*>(key);
        if (onEvent(handler) != 0)
            closeConnection(handler);
    }
}

/** 0 when another thread owns the handler by now; -1 when the connection must be closed. */
int BDBIOWorker_linux::onEvent(BDBReqHandler_linux* handler)
{
    try {
        switch (handler->transferState()) {
        case BDBReqHandler_linux::Reading:
            return receivePieces(handler);
        case BDBReqHandler_linux::Writing:
            return sendUnsent(handler);
        default:
            // Kept: the spelling, here and of "faild" below, which operators search for.
            LOG_ERROR(LogOrigin::IoWorker, 158) << "INvalid case on sd " << handler->socketDescriptor();
            return -1;
        }
    } catch (const std::bad_alloc&) {
        // A request that is too large for memory ends only its own connection. Nothing allocates after the socket is
        // armed or the request handed over, so the handler is still ours.
        return -1;
    }
}

/** A peer that closed or reset the connection counts as a failure here, like a malformed request. */
int BDBIOWorker_linux::receivePieces(BDBReqHandler_linux* handler)
{
    for (int piece = 0; piece < PiecesInARow; ++piece) {
        const ssize_t received =
            receive(handler->socketDescriptor(), handler->receiveBuffer(), BDBReqHandler_linux::ReceiveBufferSize);
        if (received < 0 && lastError() == EAGAIN)
            break;
        if (received <= 0)
            return -1;
        Metrics::server().local().bytesReceived.add(static_cast<std::uint64_t>(received));
        if (handler->isReadComplete()) {
            LOG_ERROR(LogOrigin::IoWorker, 124) << "Read is already completed sd " << handler->socketDescriptor();
            return -1;
        }
        if (handler->appendData(handler->receiveBuffer(), static_cast<unsigned>(received)) != 0)
            return -1;
        if (handler->isReadComplete())
            return startRequest(handler);
    }
    return postRead(handler);
}

/** Runs the request here or on one of the pools; its socket stays disarmed until the reply is out. */
int BDBIOWorker_linux::startRequest(BDBReqHandler_linux* handler)
{
    const Requests::Duration duration = handler->duration();
    if (duration == Requests::Duration::Short && runHere(handler))
        return 0;
    DBThreadPool& pool = duration == Requests::Duration::Apart ? master().operatorsPool() : master().pool();
    return pool.start(std::make_unique<DBHandler>(handler, this)) ? 0 : -1;
}

/**
 * Runs a short request on this thread if that is allowed to block: another worker waits for events, so that service
 * does not depend on this one. True: another thread owns the handler by now, or the connection is closed.
 */
bool BDBIOWorker_linux::runHere(BDBReqHandler_linux* handler)
{
    if (!master().port().isAttended() || !master().pool().tryEnter())
        return false;
    const auto leave = qScopeGuard([this] { master().pool().leave(); });
    return DBHandler(handler, this).runIfShort();
}

int BDBIOWorker_linux::addConnection(int socket)
{
    Base::Descriptor accepted(socket);
    if (configureSocket(socket) != 0)
        return -1;
    BDBReqHandler* handler = createHandler(accepted.release());
    if (handler == nullptr)
        return -1;
    if (associate(handler) != 0) {
        closeConnection(handler);
        return -1;
    }
    return 0;
}

int BDBIOWorker_linux::associate(BDBReqHandler* handler)
{
    const int socket = handler->socketDescriptor();
    ours(handler)->setTransferState(BDBReqHandler_linux::Reading);
    if (master().port().associate(socket, ours(handler), EPOLLIN) != 0) {
        const int error = lastError();
        LOG_ERROR(LogOrigin::IoWorker, 229) << "Association to io port faild sd " << socket << " error " << error;
        return -1;
    }
    return 0;
}

int BDBIOWorker_linux::closeConnection(BDBReqHandler* handler)
{
    master().endConnection(handler);
    return 0;
}

int BDBIOWorker_linux::postRead(BDBReqHandler* handler)
{
    const int socket = handler->socketDescriptor();
    ours(handler)->setTransferState(BDBReqHandler_linux::Reading);
    return master().port().arm(socket, ours(handler), EPOLLIN);
}

int BDBIOWorker_linux::postWrite(BDBReqHandler* handler)
{
    (void)handler->sendBuffer(); // marks the whole reply as unsent
    return sendUnsent(ours(handler));
}

/**
 * Kept: a send that would block before its first byte fails, and so closes the connection, whereas a receive that would
 * block waits. A client that leaves so many replies unread is not served any more. A partial send is not a failure: the
 * rest follows, without a copy, once the socket is writable again.
 */
int BDBIOWorker_linux::sendUnsent(BDBReqHandler_linux* handler)
{
    const int socket = handler->socketDescriptor();
    const ssize_t sent = sendOnce(socket, handler->unsent());
    if (sent < 0)
        return -1;
    handler->markSent(static_cast<std::size_t>(sent));
    if (handler->unsent().length > 0) {
        handler->setTransferState(BDBReqHandler_linux::Writing);
        return master().port().arm(socket, handler, EPOLLOUT);
    }
    master().memory().noteFreed(handler->transferSize());
    handler->reset();
    return postRead(handler);
}

int BDBIOWorker_linux::configureSocket(int socket)
{
    if (BDBIOWorker::configureSocket(socket) != 0)
        return -1;
    const int flags = fcntl(socket, F_GETFL);
    if (flags < 0 || fcntl(socket, F_SETFL, flags | O_NONBLOCK) != 0) {
        const int error = lastError();
        LOG_ERROR(LogOrigin::IoWorker, 174) << "failed to set nonblocking state sd " << socket << " error " << error;
        return -1;
    }
    return 0;
}

int BDBIOWorker_linux::lastError() const
{
    return errno;
}

BDBReqHandler* BDBIOWorker_linux::createHandler(int socket)
{
    Base::Descriptor accepted(socket);
    try {
        auto handler = std::make_unique<BDBReqHandler_linux>(envTableCapacity(), connectionTableCapacity(),
                                                             environments(), socket, master().view());
        return master().keepConnection(std::move(accepted), std::move(handler));
    } catch (const std::bad_alloc&) {
        LOG_ERROR(LogOrigin::IoWorker, 209) << "Object creation failed";
        return nullptr;
    }
}
