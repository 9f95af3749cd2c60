/* What a Status reports about the server, its connections and its environments. */
#include "protocol/framing.h"
#include "support/otheruser.h"
#include "support/procfs.h"
#include "support/statusfixture.h"
#include "support/waituntil.h"

#include <list>

namespace {

class StatusServer : public StatusTest {
protected:
    StatusServer() : StatusTest({.arguments = {"-w", "3", "-m", "5", "-n", "-s", "1"}}) {}
};

TEST_F(StatusServer, ReportsWhatItIs)
{
    const QVariantMap server = status("Server");
    EXPECT_EQ(server.keys(), QStringList({"Options", "Port", "ProcessId", "StartTime", "Uptime", "Version"}));
    EXPECT_EQ(server.value("ProcessId"), server_.pid());
    EXPECT_EQ(server.value("Port"), server_.port());
    EXPECT_EQ(server.value("Version"), QStringLiteral(QUORVA_VERSION));
    const QVariantMap options{{"Workers", 3LL},
                              {"PoolMaximum", 5LL},
                              {"StatLevel", 1LL},
                              {"CommitWithoutSync", true},
                              {"LogFile", QString::fromStdString(server_.logPath())},
                              {"AllowUsers", ""},
                              {"SlowMilliseconds", 0LL}};
    EXPECT_EQ(server.value("Options").toMap(), options);
    const double uptime = server.value("Uptime").toDouble();
    EXPECT_GT(uptime, 0);
    EXPECT_NEAR(server.value("StartTime").toDouble() + uptime, now(), 60);
    EXPECT_GT(status("Server").value("Uptime").toDouble(), uptime);
}

class StatusConnections : public StatusTest {
protected:
    using StatusTest::StatusTest;

    QVariantMap connections() { return status("Connections"); }
    static QVariantMap expected(qlonglong open, qlonglong accepted, qlonglong refused)
    {
        return {{"Open", open}, {"Accepted", accepted}, {"Refused", refused}};
    }
};

TEST_F(StatusConnections, AreThoseThatAreOpenAndThoseThatWere)
{
    EXPECT_EQ(connections(), expected(1, 1, 0));
    std::list<Client::WireConnection> others;
    for (int i = 0; i < 3; ++i)
        others.push_back(server_.connect());
    EXPECT_TRUE(waitUntil([&] { return connections() == expected(4, 4, 0); })) << testing::PrintToString(connections());
    others.pop_back();
    others.pop_back();
    EXPECT_TRUE(waitUntil([&] { return connections() == expected(2, 4, 0); })) << testing::PrintToString(connections());
}

class StatusRefusals : public StatusConnections {
protected:
    StatusRefusals() : StatusConnections({.environment = {{"QUORVA_ALLOW_USERS", "root"}}}) {}
};

TEST_F(StatusRefusals, AreConnectionsOfOtherUsers)
{
    SKIP_UNLESS_ROOT();
    const std::string request = Framing::frameRequest("Quorva_1.Status", "{}").toStdString();
    EXPECT_EQ(connections(), expected(1, 1, 0));
    for (int i = 0; i < 2; ++i)
        EXPECT_EQ(UserConnection(OtherUser, server_.port()).exchange(request), "");
    EXPECT_EQ(connections(), expected(1, 1, 2));
    EXPECT_EQ(status("Server").value("Options").toMap().value("AllowUsers"), "root");
}

class StatusFewDescriptors : public StatusConnections {
protected:
    StatusFewDescriptors() : StatusConnections({.wrapper = {"/bin/sh", "-c", "ulimit -n 100; exec \"$@\"", "sh"}}) {}
};

TEST_F(StatusFewDescriptors, RefuseConnectionsToo)
{
    EXPECT_EQ(status("Process").value("DescriptorLimit"), QVariant(100LL));
    std::list<Client::WireConnection> others;
    constexpr int Tried = 60;
    for (int i = 0; i < Tried; ++i)
        others.push_back(server_.connect());
    EXPECT_TRUE(waitUntil([&] {
        const QVariantMap now = connections();
        return now.value("Accepted").toInt() + now.value("Refused").toInt() == Tried + 1;
    })) << testing::PrintToString(connections());
    EXPECT_EQ(connections().value("Open"), connections().value("Accepted"));
    EXPECT_GT(connections().value("Refused").toInt(), 0);
    std::size_t lines = 0;
    for (const std::string& line : takeComplaints())
        lines += line.find("the last descriptors are kept for databases") != std::string::npos;
    EXPECT_EQ(connections().value("Refused"), QVariant::fromValue(static_cast<qlonglong>(lines)));
}

TEST_F(StatusConnections, EnvironmentsAreThoseThatAreOpenInTheOrderOfTheirDirectories)
{
    EXPECT_EQ(status().value("Environments").toList(), QVariantList());
    const std::string second = makeDirectory("a second");
    createTable(tableName());
    createTable(tableIn(second));
    get("k", "1", {{"TableName", tableIn(home() + "/../env/")}});
    const auto directories = [&] {
        QStringList found;
        for (const QVariant& entry : status().value("Environments").toList())
            found.append(entry.toMap().value("Directory").toString());
        return found;
    };
    EXPECT_EQ(directories(), QStringList({QString::fromStdString(second), QString::fromStdString(home())}));
    request("DeleteTable", {{"TableName", tableIn(second)}});
    EXPECT_EQ(directories(), QStringList({QString::fromStdString(home())}));
}

} // namespace
