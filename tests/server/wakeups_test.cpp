/*
 * How the server's threads are woken: not at the expense of clients that read.
 */
#include "support/tablefixture.h"

#include <filesystem>
#include <string>

#include <sched.h>

namespace {

class Wakeups : public TableTest {
protected:
    static constexpr int Workers = 3;
    static constexpr int Requests = 40 * Workers; // so that at least one worker serves many, and one after another

    Wakeups() : TableTest({.arguments = {"-w", std::to_string(Workers)}}) {}

    void SetUp() override
    {
        TableTest::SetUp();
        createTable(tableName());
    }

    /** The server's threads that do not take the processor from others when they are woken. */
    int yieldingThreads() const
    {
        int count = 0;
        for (const auto& task : std::filesystem::directory_iterator("/proc/" + std::to_string(server_.pid()) + "/task"))
            count += sched_getscheduler(std::stoi(task.path().filename())) == SCHED_BATCH ? 1 : 0;
        return count;
    }

    void get()
    {
        EXPECT_EQ(request("GetItem", {{"TableName", tableName()}, {"Key", itemKey("k", "1")}}).value("__rc"),
                  QVariant(200LL));
    }

    void put()
    {
        const QVariantMap item{{"h", textValue("k")}, {"r", textValue("1")}};
        EXPECT_EQ(request("PutItem", {{"TableName", tableName()}, {"Item", item}}).value("__rc"), QVariant(200LL));
    }
};

TEST_F(Wakeups, WorkersThatServeReadsLeaveTheProcessorToClients)
{
    put();
    EXPECT_EQ(yieldingThreads(), 0);
    for (int i = 0; i < Requests; ++i)
        get();
    EXPECT_GE(yieldingThreads(), 1);
    EXPECT_LE(yieldingThreads(), Workers);
}

TEST_F(Wakeups, WorkersThatServeWritesDoNot)
{
    for (int i = 0; i < Requests; ++i)
        put();
    EXPECT_EQ(yieldingThreads(), 0);
}

} // namespace
