#ifndef QUORVA_TESTS_NET_PROBEHANDLER_H
#define QUORVA_TESTS_NET_PROBEHANDLER_H

#include "net/bdbreqhandler.h"
#include "protocol/framing.h"

#include <QByteArray>

#include <gtest/gtest.h>

/** A handler without a socket, whose request and reply are accessible. */
class ProbeHandler : public BDBReqHandler {
public:
    explicit ProbeHandler(BDBObjTable* environments = nullptr) : BDBReqHandler(1024, 256, environments, 42) {}

    const TransferBuffer& sendBuffer() override { return none_; }

    using BDBReqHandler::reply;
    using BDBReqHandler::request;

    int append(const QByteArray& piece) { return appendData(piece.constData(), static_cast<unsigned>(piece.size())); }

    /** The reply without its prefix, which must hold its length. */
    QByteArray replyText() const
    {
        if (reply().size() < 4)
            return "reply without prefix";
        EXPECT_EQ(Framing::readLength(reply().constData()), reply().size() - 4);
        return reply().mid(4);
    }

private:
    TransferBuffer none_;
};

#endif
