/* What a Status tells of the server, its connections and its environments. */
#include "support/otheruser.h"
#include "support/procfs.h"
#include "support/statusfixture.h"
#include "support/waituntil.h"

#include <chrono>
#include <list>

namespace {

double now()
{
    return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
}

class StatusServer : public StatusTest {
protected:
    StatusServer() : StatusTest({.arguments = {"-w", "3", "-m", "5", "-n", "-s", "1"}}) {}
};

TEST_F(StatusServer, TellsWhatItIs)
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
                              {"AllowUsers", ""}};
    EXPECT_EQ(server.value("Options").toMap(), options);
    const double uptime = server.value("Uptime").toDouble();
    EXPECT_GT(uptime, 0);
    EXPECT_NEAR(server.value("StartTime").toDouble() + uptime, now(), 60);
    EXPECT_GT(status("Server").value("Uptime").toDouble(), uptime);
}

class StatusConnections : public StatusTest {
protected:
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
    StatusRefusals() { SetEnvironment(); }
    void SetEnvironment() {}
};

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
