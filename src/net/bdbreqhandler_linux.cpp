#include "net/bdbreqhandler_linux.h"

// cppcheck-suppress uninitMemberVar ; the buffer: only what a receive wrote is read
BDBReqHandler_linux::BDBReqHandler_linux(int envTableCapacity, int connectionTableCapacity, BDBObjTable* environments,
                                         int socket, const ServerView* server)
    : BDBReqHandler(envTableCapacity, connectionTableCapacity, environments, socket, server)
{}

BDBReqHandler_linux::~BDBReqHandler_linux() = default;

const TransferBuffer& BDBReqHandler_linux::sendBuffer()
{
    unsent_ = {reply().constData(), static_cast<std::size_t>(reply().size())};
    return unsent_;
}

void BDBReqHandler_linux::reset()
{
    BDBReqHandler::reset();
    unsent_ = {};
    setTransferState(Reading);
}

void BDBReqHandler_linux::markSent(std::size_t bytes)
{
    unsent_.data += bytes;
    unsent_.length -= bytes;
}
