#ifndef QUORVA_NET_BDBIOWORKER_LINUX_H
#define QUORVA_NET_BDBIOWORKER_LINUX_H

#include "net/bdbioworker.h"

class BDBReqHandler_linux;

/**
 * A worker on the master's completion port. Its thread ends when the port is stopped.
 *
 * Its handlers must come from createHandler() of a worker of this class.
 */
class BDBIOWorker_linux final : public BDBIOWorker {
public:
    using BDBIOWorker::BDBIOWorker;

    void run() override;

    [[nodiscard]] int startWorker() override;
    [[nodiscard]] int addConnection(int socket) override;
    [[nodiscard]] int associate(BDBReqHandler* handler) override;
    int closeConnection(BDBReqHandler* handler) override;
    [[nodiscard]] int postRead(BDBReqHandler* handler) override;
    [[nodiscard]] int postWrite(BDBReqHandler* handler) override;
    [[nodiscard]] int configureSocket(int socket) override;
    int lastError() const override;
    BDBReqHandler* createHandler(int socket) override;

private:
    int onEvent(BDBReqHandler_linux* handler);
    int receivePieces(BDBReqHandler_linux* handler);
    int startRequest(BDBReqHandler_linux* handler);
    bool runHere(BDBReqHandler_linux* handler);
    int sendUnsent(BDBReqHandler_linux* handler);
};

#endif
