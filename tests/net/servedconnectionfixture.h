#ifndef QUORVA_TESTS_NET_SERVEDCONNECTIONFIXTURE_H
#define QUORVA_TESTS_NET_SERVEDCONNECTIONFIXTURE_H

#include "client/wireconnection.h"
#include "requests.h"
#include "support/logcapture.h"
#include "testserver.h"

#include <QByteArray>
#include <QVariantMap>

#include <gtest/gtest.h>

/** A server and one connection to it. */
class ServedConnection : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_EQ(server_.listenAnywhere(), 0);
        ASSERT_TRUE(server_.connectTo(&client_)) << client_.error().toStdString();
    }

    QVariantMap receive()
    {
        QByteArray reply;
        return client_.receiveReply(&reply) ? parseReply(reply) : QVariantMap{{"error", client_.error()}};
    }

    LogCapture log_{LogWarn};
    TestServer server_{2, 4};
    Client::WireConnection client_;
};

#endif
