#include "net/dbhandler.h"

#include "net/bdbioworker.h"
#include "net/bdbreqhandler.h"
#include "support/logcapture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <new>
#include <vector>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

/** A handler with the outcome that the test wants. */
class ScriptedHandler : public BDBReqHandler {
public:
    enum Outcome { Ready, Fails, RunsOutOfMemory, IsLong };

    explicit ScriptedHandler(Outcome outcome) : BDBReqHandler(1024, 256, nullptr, 42), outcome_(outcome) {}

    /** The request uses an environment, which this counts. */
    void useEnvironment(const std::shared_ptr<EnvironmentUseCount>& uses)
    {
        request().environment = EnvironmentUse(nullptr, uses, nullptr);
    }

    int handle() override
    {
        if (outcome_ == RunsOutOfMemory)
            throw std::bad_alloc();
        return outcome_ == Ready ? 0 : -1;
    }
    int handleIfShort() override { return outcome_ == IsLong ? TakesLong : handle(); }
    const TransferBuffer& sendBuffer() override { return none_; }

private:
    Outcome outcome_;
    TransferBuffer none_;
};

/** A worker that records its calls. */
class RecordingWorker : public BDBIOWorker {
public:
    explicit RecordingWorker(int writeResult) : BDBIOWorker(1024, 256, nullptr, nullptr), writeResult_(writeResult) {}

    void run() override {}
    int startWorker() override { return -1; }
    int addConnection(int) override { return -1; }
    int associate(BDBReqHandler*) override { return -1; }
    int closeConnection(BDBReqHandler* handler) override
    {
        closed.push_back(handler);
        return 0;
    }
    int postRead(BDBReqHandler*) override { return -1; }
    int postWrite(BDBReqHandler* handler) override
    {
        written.push_back(handler);
        if (onWrite)
            onWrite();
        return writeResult_;
    }
    int lastError() const override { return 0; }
    BDBReqHandler* createHandler(int) override { return nullptr; }

    std::vector<BDBReqHandler*> written;
    std::vector<BDBReqHandler*> closed;
    std::function<void()> onWrite;

private:
    int writeResult_;
};

} // namespace

TEST(DBHandler, PostsTheReply)
{
    ScriptedHandler handler(ScriptedHandler::Ready);
    RecordingWorker worker(0);
    DBHandler(&handler, &worker).run();
    EXPECT_THAT(worker.written, ElementsAre(&handler));
    EXPECT_THAT(worker.closed, IsEmpty());
}

TEST(DBHandler, LeavesTheEnvironmentBeforeItReplies)
{
    ScriptedHandler handler(ScriptedHandler::Ready);
    RecordingWorker worker(0);
    const auto uses = std::make_shared<EnvironmentUseCount>();
    handler.useEnvironment(uses);
    ASSERT_EQ(uses->users(), 1);
    int usersAtReply = -1;
    worker.onWrite = [&] { usersAtReply = uses->users(); };
    DBHandler(&handler, &worker).run();
    EXPECT_EQ(usersAtReply, 0);
}

TEST(DBHandler, ClosesTheConnectionOfARequestThatFails)
{
    ScriptedHandler handler(ScriptedHandler::Fails);
    RecordingWorker worker(0);
    DBHandler(&handler, &worker).run();
    EXPECT_THAT(worker.written, IsEmpty());
    EXPECT_THAT(worker.closed, ElementsAre(&handler));
}

TEST(DBHandler, ClosesTheConnectionWhenTheReplyCannotBeSent)
{
    ScriptedHandler handler(ScriptedHandler::Ready);
    RecordingWorker worker(-1);
    DBHandler(&handler, &worker).run();
    EXPECT_THAT(worker.written, ElementsAre(&handler));
    EXPECT_THAT(worker.closed, ElementsAre(&handler));
}

TEST(DBHandler, RunsAShortRequestLikeAnyOther)
{
    for (const auto outcome : {ScriptedHandler::Ready, ScriptedHandler::Fails, ScriptedHandler::RunsOutOfMemory}) {
        ScriptedHandler handler(outcome);
        RecordingWorker worker(0);
        EXPECT_TRUE(DBHandler(&handler, &worker).runIfShort()) << outcome;
        EXPECT_EQ(worker.written.size(), outcome == ScriptedHandler::Ready ? 1u : 0u) << outcome;
        EXPECT_EQ(worker.closed.size(), outcome == ScriptedHandler::Ready ? 0u : 1u) << outcome;
    }
    ScriptedHandler handler(ScriptedHandler::Ready);
    RecordingWorker worker(-1);
    EXPECT_TRUE(DBHandler(&handler, &worker).runIfShort());
    EXPECT_THAT(worker.written, ElementsAre(&handler));
    EXPECT_THAT(worker.closed, ElementsAre(&handler));
}

TEST(DBHandler, LeavesALongRequestToTheCaller)
{
    ScriptedHandler handler(ScriptedHandler::IsLong);
    RecordingWorker worker(0);
    EXPECT_FALSE(DBHandler(&handler, &worker).runIfShort());
    EXPECT_THAT(worker.written, IsEmpty());
    EXPECT_THAT(worker.closed, IsEmpty());
}

TEST(DBHandler, ClosesTheConnectionOfARequestThatIsTooLargeForTheMemory)
{
    const LogCapture log;
    ScriptedHandler handler(ScriptedHandler::RunsOutOfMemory);
    RecordingWorker worker(0);
    DBHandler(&handler, &worker).run();
    EXPECT_THAT(worker.written, IsEmpty());
    EXPECT_THAT(worker.closed, ElementsAre(&handler));
    EXPECT_THAT(log.lines(), IsEmpty());
}
