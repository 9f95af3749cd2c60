/* What is reported about slow requests, compared with what they have waited for. */
#include "shortrequestsfixture.h"

#include "request/slowrequests.h"
#include "support/logcapture.h"

#include <gmock/gmock.h>

#include <chrono>

namespace {

using namespace std::chrono_literals;

/** Only the slow requests of the test: others may be slow on a busy machine, and name other items. */
class SlowServed : public ShortRequests {
protected:
    static constexpr auto Threshold = 20ms;

    SlowServed() { SlowRequests::setThreshold(Threshold); }
    ~SlowServed() override { SlowRequests::setThreshold(0ms); }

    void SetUp() override
    {
        ShortRequests::SetUp();
        serve(3, 5);
    }

    /** Waits until something that is in progress takes longer than it should. */
    static void letThresholdPass()
    {
        const auto end = std::chrono::steady_clock::now() + Threshold + 1ms;
        while (std::chrono::steady_clock::now() < end)
            std::this_thread::yield();
    }

    std::vector<SlowRequest> slowRequestsFor(const QString& keys) const
    {
        std::vector<SlowRequest> found;
        for (const SlowRequest& slow : SlowRequests::latest()) {
            if (slow.keys == keys && slow.table == tables_.tableName())
                found.push_back(slow);
        }
        return found;
    }

    /** The writers' mutex of the file of an item. */
    QMutex& writersOf(const char* hash)
    {
        const QByteArray file =
            Records::filePart(Records::dataFileName(tables_.tableBytes(), Records::partitionOf(hash, PartitionCount)));
        return RequestBench::openDatabase(use_.env(), file, TableNames::DataSubDatabase)->state().writer;
    }

    LogCapture log_{LogWarn};
};

/** With one thread that runs requests. */
class SlowQueued : public SlowServed {
protected:
    void SetUp() override
    {
        ShortRequests::SetUp();
        serve(1, 1);
    }
};

} // namespace

TEST_F(SlowServed, WaitForAPageLock)
{
    auto lock = lockPage();
    ServedClient& client = sendBlocked();
    letThresholdPass();
    lock.reset();
    EXPECT_EQ(client.receive(), foundReply());
    const std::vector<SlowRequest> found = slowRequestsFor("\"locked\" \"1\"");
    ASSERT_EQ(found.size(), 1U);
    const SlowRequest& slow = found.front();
    EXPECT_EQ(slow.operation, "GetItem");
    EXPECT_EQ(slow.outcome, "Success");
    EXPECT_GT(slow.total, Threshold);
    EXPECT_GE(slow.locks, Threshold);
    EXPECT_LE(slow.queued + slow.locks + slow.disk + slow.flush, slow.total);
    EXPECT_EQ(slow.items, 1);
    EXPECT_EQ(slow.retries, 0);
    EXPECT_THAT(slow.peer.toStdString(), testing::MatchesRegex("127\\.0\\.0\\.1:[0-9]+"));
    EXPECT_EQ(log_.count("slow request GetItem table \"" + tables_.tableName().toStdString() +
                         "\" keys \"locked\" \"1\" Success: "),
              1U)
        << log_.text();
}

TEST_F(SlowServed, WaitForAnotherWriter)
{
    QMutex& writers = writersOf(Free);
    writers.lock();
    ServedClient& client = newClient();
    client.send("PutItem", {{"TableName", tables_.tableName()},
                            {"Item", item(Free)},
                            {"Expected", QVariantMap{{"a", QVariantMap{{"Value", textValue("x")}}}}}});
    ASSERT_TRUE(waitUntil([&] {
        QVariantMap status;
        master_.describe(&status);
        return status.value("Threads").toMap().value("PoolBusy") == 1;
    }));
    letThresholdPass();
    EXPECT_FALSE(client.hasReply());
    writers.unlock();
    EXPECT_EQ(client.receive().value("__type"), "ConditionalCheckFailedException");
    const std::vector<SlowRequest> found = slowRequestsFor("\"free\" \"1\"");
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(found.front().operation, "PutItem");
    EXPECT_EQ(found.front().outcome, "ConditionalCheckFailedException");
    EXPECT_GT(found.front().locks, 0ns) << log_.text();
    EXPECT_EQ(found.front().items, 0) << "none was written";
}

TEST_F(SlowQueued, WaitForAThread)
{
    auto lock = lockPage();
    ServedClient& running = sendBlocked();
    ServedClient& waiting = newClient();
    waiting.send("GetItem", getBody(Free));
    ASSERT_TRUE(waitUntil([&] {
        QVariantMap status;
        master_.describe(&status);
        return status.value("Threads").toMap().value("PoolQueue") == 1;
    }));
    letThresholdPass();
    lock.reset();
    EXPECT_EQ(running.receive(), foundReply());
    EXPECT_EQ(waiting.receive(), foundReply());
    const std::vector<SlowRequest> found = slowRequestsFor("\"free\" \"1\"");
    ASSERT_EQ(found.size(), 1U);
    EXPECT_GE(found.front().queued, Threshold);
    EXPECT_LE(found.front().queued + found.front().locks + found.front().disk + found.front().flush,
              found.front().total);
}

TEST_F(SlowServed, AreNoneWithoutAThreshold)
{
    SlowRequests::setThreshold(0ms);
    const std::uint64_t before = SlowRequests::count();
    auto lock = lockPage();
    ServedClient& client = sendBlocked();
    letThresholdPass();
    lock.reset();
    EXPECT_EQ(client.receive(), foundReply());
    EXPECT_EQ(SlowRequests::count(), before);
    EXPECT_EQ(log_.count("slow request"), 0U) << log_.text();
}
