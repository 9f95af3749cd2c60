#include "net/bdbiomaster.h"

#include "net/bdbioworker.h"
#include "netsupport.h"
#include "support/logcapture.h"
#include "support/threadcount.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <vector>

using testing::ElementsAre;

namespace {

/** A worker that only records which sockets it was given. */
class RecordingWorker : public BDBIOWorker {
public:
    RecordingWorker(BDBIOMaster* master, int startResult, std::vector<int>* sockets)
        : BDBIOWorker(1024, 256, nullptr, master), startResult_(startResult), sockets_(sockets)
    {}

    void run() override {}
    int startWorker() override { return startResult_; }
    int addConnection(int socket) override
    {
        sockets_->push_back(socket);
        return 0;
    }
    int associate(BDBReqHandler*) override { return -1; }
    int closeConnection(BDBReqHandler*) override { return -1; }
    int postRead(BDBReqHandler*) override { return -1; }
    int postWrite(BDBReqHandler*) override { return -1; }
    int lastError() const override { return 0; }
    BDBReqHandler* createHandler(int) override { return nullptr; }

private:
    int startResult_;
    std::vector<int>* sockets_;
};

/** Its workers do as a function of the test says, and record their sockets in a list each. */
class RecordingMaster : public BDBIOMaster {
public:
    enum Kind { Works, DoesNotStart, NoMemory };

    explicit RecordingMaster(std::function<Kind(int)> kindOf = [](int) { return Works; })
        : BDBIOMaster(1024, 256, nullptr), kindOf_(std::move(kindOf)), sockets(8)
    {}

private:
    std::unique_ptr<BDBIOWorker> createWorker() override
    {
        const int id = made_++;
        const Kind kind = kindOf_(id);
        if (kind == NoMemory)
            return nullptr;
        return std::make_unique<RecordingWorker>(this, kind == Works ? 0 : -1, &sockets[static_cast<std::size_t>(id)]);
    }

    std::function<Kind(int)> kindOf_;
    int made_ = 0;

public:
    std::vector<std::vector<int>> sockets; // per worker
};

} // namespace

TEST(BDBIOMaster, InitSizesThePoolAndSaysSo)
{
    const LogCapture log;
    BDBIOMaster master(1024, 256, nullptr);
    master.init(3, 7);
    EXPECT_EQ(master.pool().maxThreadCount(), 7);
    EXPECT_EQ(master.pool().expiry(), std::chrono::minutes(2));
    EXPECT_THAT(log.lines(), ElementsAre("[INFO] Workers count 3 db-pool max-thread-count 7"));
}

TEST(BDBIOMaster, InitStartsTheWorkers)
{
    ASSERT_TRUE(onlyThisThreadIsLeft());
    {
        BDBIOMaster master(1024, 256, nullptr);
        master.init(5, 1);
        EXPECT_EQ(threadCount(), initialThreadCount() + 5);
    }
    EXPECT_TRUE(onlyThisThreadIsLeft());
}

TEST(BDBIOMaster, WorkerWithoutMemoryIsSkipped)
{
    const LogCapture log;
    RecordingMaster master([](int id) { return id == 1 ? RecordingMaster::NoMemory : RecordingMaster::Works; });
    master.init(3, 1);
    EXPECT_THAT(log.lines(), ElementsAre("[INFO] Workers count 3 db-pool max-thread-count 1",
                                         "[CRIT] bdbiomaster 60 Worker creation failed, insufficient memory id 1"));
    for (const int socket : {100, 101, 102})
        master.addConnection(socket);
    EXPECT_THAT(master.sockets[0], ElementsAre(100, 102));
    EXPECT_THAT(master.sockets[2], ElementsAre(101));
}

TEST(BDBIOMaster, WorkerThatDoesNotStartIsSkipped)
{
    const LogCapture log;
    RecordingMaster master([](int id) { return id == 0 ? RecordingMaster::DoesNotStart : RecordingMaster::Works; });
    master.init(2, 1);
    EXPECT_THAT(log.lines(), ElementsAre("[INFO] Workers count 2 db-pool max-thread-count 1",
                                         "[ERROR] bdbiomaster 65 IOWorker init failed id 0"));
    for (const int socket : {100, 101})
        master.addConnection(socket);
    EXPECT_THAT(master.sockets[0], ElementsAre());
    EXPECT_THAT(master.sockets[1], ElementsAre(100, 101));
}

TEST(BDBIOMaster, WithoutDescriptorsForThePortNoWorkerStarts)
{
    const LogCapture log;
    BDBIOMaster master(1024, 256, nullptr);
    {
        const NoFurtherDescriptors none;
        master.init(2, 1);
    }
    EXPECT_THAT(log.lines(), ElementsAre("[INFO] Workers count 2 db-pool max-thread-count 1",
                                         "[ERROR] bdbioworker 76 IOCP port creation failed 24",
                                         "[ERROR] bdbiomaster 65 IOWorker init failed id 0",
                                         "[ERROR] bdbioworker 76 IOCP port creation failed 24",
                                         "[ERROR] bdbiomaster 65 IOWorker init failed id 1"));
    TcpPair pair;
    master.addConnection(pair.server.release()); // there is no worker to serve it
    EXPECT_TRUE(endsWithoutData(pair.client.number()));
}

TEST(BDBIOMaster, ConnectionsGoRound)
{
    RecordingMaster master;
    master.init(3, 1);
    for (int socket = 100; socket < 107; ++socket)
        master.addConnection(socket);
    EXPECT_THAT(master.sockets[0], ElementsAre(100, 103, 106));
    EXPECT_THAT(master.sockets[1], ElementsAre(101, 104));
    EXPECT_THAT(master.sockets[2], ElementsAre(102, 105));
}

TEST(BDBIOMaster, FailedAcceptsTakeTheirTurnToo)
{
    RecordingMaster master;
    master.init(2, 1);
    for (const int socket : {100, -1, 101})
        master.addConnection(socket);
    EXPECT_THAT(master.sockets[0], ElementsAre(100, 101));
    EXPECT_THAT(master.sockets[1], ElementsAre(-1));
}

TEST(BDBIOMaster, DestroysTheConnectionsThatAreLeft)
{
    TcpPair pair;
    const int socket = pair.server.release();
    {
        BDBObjTable environments(16);
        BDBIOMaster master(1024, 256, &environments);
        master.init(2, 1);
        master.addConnection(socket);
        ASSERT_TRUE(isOpen(socket));
    }
    EXPECT_FALSE(isOpen(socket));
    EXPECT_TRUE(endsWithoutData(pair.client.number()));
}
