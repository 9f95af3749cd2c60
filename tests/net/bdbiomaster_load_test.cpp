/* What a master reports about its threads and connections, compared with what they do. */
#include "shortrequestsfixture.h"

namespace {

class MasterLoad : public ShortRequests {
protected:
    QVariantMap part(const char* name)
    {
        QVariantMap status;
        master_.describe(&status);
        return status.value(name).toMap();
    }
    QVariantMap threads() { return part("Threads"); }
    QVariantMap connections() { return part("Connections"); }

    static QVariantMap load(int workers, int workersBusy, int pool, int poolBusy, int poolQueue)
    {
        return {{"Workers", workers},   {"WorkersBusy", workersBusy}, {"Pool", pool},
                {"PoolBusy", poolBusy}, {"PoolQueue", poolQueue},     {"RepliesWaiting", 0}};
    }
    [[nodiscard]] bool threadsBecome(const QVariantMap& expected)
    {
        return waitUntil([&] { return threads() == expected; });
    }
};

} // namespace

TEST_F(MasterLoad, IsOfThoseThatRunRequestsAndThoseThatWaitForTheirTurn)
{
    serve(2, 2);
    EXPECT_EQ(threads(), load(2, 0, 0, 0, 0));
    auto lock = lockPage();
    ServedClient& first = sendBlocked();
    EXPECT_TRUE(threadsBecome(load(2, 1, 0, 1, 0))) << "on the worker: " << testing::PrintToString(threads());
    ServedClient& second = sendBlocked();
    EXPECT_TRUE(threadsBecome(load(2, 1, 1, 2, 0))) << "on the pool: " << testing::PrintToString(threads());
    std::vector<ServedClient*> others;
    for (int i = 0; i < 3; ++i) {
        others.push_back(&newClient());
        others.back()->send("GetItem", getBody(Free));
    }
    EXPECT_TRUE(waitUntil([&] { return threads().value("PoolQueue") == 3; })) << testing::PrintToString(threads());
    EXPECT_EQ(threads().value("PoolBusy"), 2);
    lock.reset();
    for (ServedClient* client : {&first, &second})
        EXPECT_EQ(client->receive(), foundReply());
    for (ServedClient* client : others)
        EXPECT_EQ(client->receive(), foundReply());
    EXPECT_TRUE(waitUntil([&] {
        const QVariantMap now = threads();
        return now.value("WorkersBusy") == 0 && now.value("PoolBusy") == 0 && now.value("PoolQueue") == 0;
    }));
}

TEST_F(MasterLoad, StatusIsAnsweredWhileAllThreadsThatRunRequestsAreStuck)
{
    serve(1, 1);
    auto lock = lockPage();
    ServedClient& stuck = sendBlocked();
    ServedClient& queued = newClient();
    queued.send("GetItem", getBody(Free));
    ASSERT_TRUE(waitUntil([&] { return threads().value("PoolQueue") == 1; }));
    const QVariantMap reply = newClient().request("Quorva_1.Status", {});
    EXPECT_EQ(reply.value("__rc"), 200);
    EXPECT_EQ(reply.value("Environments").toList().size(), 1);
    EXPECT_FALSE(stuck.hasReply());
    EXPECT_FALSE(queued.hasReply());
    lock.reset();
    EXPECT_EQ(stuck.receive(), foundReply());
    EXPECT_EQ(queued.receive(), foundReply());
}

TEST_F(MasterLoad, ConnectionsAreAcceptedOnceAndOpenUntilTheyEnd)
{
    serve(2, 2);
    const auto counts = [](qlonglong open, qulonglong accepted, qulonglong refused) {
        return QVariantMap{{"Open", open}, {"Accepted", accepted}, {"Refused", refused}};
    };
    EXPECT_EQ(connections(), counts(0, 0, 0));
    newClient();
    newClient();
    EXPECT_EQ(connections(), counts(2, 2, 0));
    clients_.clear();
    EXPECT_TRUE(waitUntil([&] { return connections() == counts(0, 2, 0); })) << testing::PrintToString(connections());
    master_.noteRefused();
    master_.addConnection(-1); // no connection at all
    EXPECT_EQ(connections(), counts(0, 2, 1));
}
