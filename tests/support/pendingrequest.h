#ifndef QUORVA_TESTS_SUPPORT_PENDINGREQUEST_H
#define QUORVA_TESTS_SUPPORT_PENDINGREQUEST_H

#include "protocol/framing.h"
#include "protocol/operations.h"
#include "support/serverprocess.h"
#include "json/jsonreader.h"
#include "json/jsonwriter.h"

#include <gtest/gtest.h>

#include <poll.h>
#include <sys/socket.h>

/** A request on its own connection, whose reply may take long. */
class PendingRequest {
public:
    PendingRequest(const ServerProcess& server, const QByteArray& operation, const QVariantMap& body)
        : connection_(server.connect())
    {
        EXPECT_TRUE(connection_.send(Framing::frameRequest(Operations::fullName(operation), Json::serialize(body))));
    }

    bool isAnswered() const
    {
        pollfd waiting{connection_.socketDescriptor(), POLLIN, 0};
        return poll(&waiting, 1, 0) != 0;
    }

    QVariantMap reply()
    {
        QByteArray text;
        QVariant value;
        EXPECT_TRUE(connection_.receiveReply(&text)) << connection_.error().toStdString();
        EXPECT_TRUE(Json::parse(text, &value)) << text.toStdString();
        return value.toMap();
    }

    /** With a reset instead of an orderly close. */
    void goAway(bool reset)
    {
        const linger now{1, 0};
        if (reset)
            setsockopt(connection_.socketDescriptor(), SOL_SOCKET, SO_LINGER, &now, sizeof now);
        connection_.close();
    }

private:
    Client::WireConnection connection_;
};

#endif
