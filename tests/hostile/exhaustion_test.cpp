/* The server's log cannot be written, or there are no descriptors left: what is open stays usable. */
#include "exhaustion.h"

#include "client/wireconnection.h"
#include "protocol/endpoint.h"
#include "protocol/operations.h"
#include "support/procfs.h"
#include "support/waituntil.h"
#include "json/jsonreader.h"
#include "json/jsonwriter.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

TEST_F(Exhaustion, AFullDiskUnderTheServersLogStopsNothing)
{
    ServerProcess server;
    // The server then logs to standard error, so the test reads the port from the system.
    ASSERT_TRUE(server.launch({"-p0", "-d", "/dev/full"}));
    int port = 0;
    ASSERT_TRUE(waitUntil([&] { return (port = ProcFs::listeningPort(server.pid())) != 0; }));
    Client::WireConnection connection;
    ASSERT_TRUE(connection.open(QString::fromLatin1(Endpoint::Host), port));
    const QString table = QString::fromStdString(server.makeDirectory("env")) + "|t";
    const auto request = [&](const char* operation, const QVariantMap& body) {
        QByteArray text;
        QVariant reply;
        EXPECT_TRUE(connection.exchange(Operations::fullName(operation), Json::serialize(body), &text));
        EXPECT_TRUE(Json::parse(text, &reply));
        return reply.toMap();
    };
    EXPECT_EQ(request("CreateTable", {{"TableName", table}, {"KeySchema", keySchema()}}).value("__rc"),
              QVariant(200LL));
    for (int i = 0; i < 50; ++i) { // each logs two lines
        EXPECT_EQ(request("Nothing", {}), internalErrorReply());
        EXPECT_EQ(request("PutItem", {{"TableName", table}, {"Item", numberedItem(i, 10)}}).value("__rc"),
                  QVariant(200LL));
    }
    EXPECT_TRUE(server.isRunning());
}

TEST_F(Exhaustion, WithoutDescriptorsWhatIsOpenKeepsWorking)
{
    ServerProcess server({.wrapper = {"/bin/sh", "-c", "ulimit -n 160; exec \"$@\"", "sh"}});
    ASSERT_TRUE(server.start());
    const QString table = QString::fromStdString(server.makeDirectory("env")) + "|t";
    Filling filling(&server, table, 100);
    ASSERT_TRUE(filling.createTable());
    for (int i = 0; i < 14; ++i) // opens all its data files
        ASSERT_TRUE(filling.putNext());

    std::vector<Client::WireConnection> crowd;
    for (int i = 0; i < 200; ++i) // more than there are descriptors
        crowd.push_back(server.connect());
    ASSERT_TRUE(server.waitForLog("connection refused, the last descriptors are kept"));
    for (int i = 0; i < 50; ++i)
        EXPECT_TRUE(filling.putNext()) << "a connection and files that were there before";

    // Further data files: some use the reserved descriptors, then they are refused, each with a reply.
    int refused = 0;
    int opened = 0;
    for (int i = 0; i < 200 && refused < 5; ++i) {
        const QVariantMap other{{"h", textValue("other" + QString::number(i))}, {"r", textValue("r")}};
        const QVariantMap reply = server.request("PutItem", {{"TableName", table}, {"Item", other}});
        ++(reply.value("__rc") == QVariant(200LL) ? opened : refused);
        if (reply.value("__rc") != QVariant(200LL)) {
            EXPECT_EQ(reply, internalErrorReply());
        }
    }
    EXPECT_GT(opened, 10);
    EXPECT_EQ(refused, 5);
    EXPECT_TRUE(filling.putNext());

    crowd.clear(); // frees descriptors
    EXPECT_TRUE(waitUntil([&] {
        const QVariantMap other{{"h", textValue("later")}, {"r", textValue("r")}};
        return server.request("PutItem", {{"TableName", table}, {"Item", other}}).value("__rc") == QVariant(200LL);
    }));
    filling.expectAllThere();
    restart(&server);
    filling.expectAllThere();
}

} // namespace
