#ifndef QUORVA_NET_BDBREQHANDLER_LINUX_H
#define QUORVA_NET_BDBREQHANDLER_LINUX_H

#include "net/bdbreqhandler.h"

#include <atomic>

/**
 * A connection as the epoll workers use it: with its receive buffer and the event that its socket waits for.
 *
 * The transfer state also synchronises the hand-over between threads: the thread that arms the socket stores it last,
 * the thread that takes the socket's event loads it first.
 */
class BDBReqHandler_linux final : public BDBReqHandler {
public:
    enum TransferState : int { Reading = 0, Writing = 1 };

    static constexpr std::size_t ReceiveBufferSize = 4096; // one chunk of a request

    BDBReqHandler_linux(int envTableCapacity, int connectionTableCapacity, BDBObjTable* environments, int socket,
                        const ServerView* server = nullptr);
    ~BDBReqHandler_linux() override;

    const TransferBuffer& sendBuffer() override;
    void reset() override;

    /** The unsent rest of the reply. The reply itself is not moved. */
    const TransferBuffer& unsent() const { return unsent_; }
    void markSent(std::size_t bytes);

    char* receiveBuffer() { return receiveBuffer_; }

    /** The last access to the handler before its socket is armed, and the first after its event was taken. */
    void setTransferState(int state) { transferState_.store(state, std::memory_order_release); }
    int transferState() const { return transferState_.load(std::memory_order_acquire); }

private:
    TransferBuffer unsent_; // into the reply
    std::atomic<int> transferState_{Reading};
    char receiveBuffer_[ReceiveBufferSize]; // uninitialized: only what a receive wrote is read
};

#endif
