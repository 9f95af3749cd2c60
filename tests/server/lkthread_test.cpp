#include "server/lkthread.h"

#include "lockholder.h"
#include "support/logcapture.h"
#include "support/systemcallfilter.h"
#include "support/tempdir.h"

#include <QCoreApplication>
#include <QTimer>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <vector>

namespace {

using testing::ElementsAre;

class LKThreadTest : public testing::Test {
protected:
    ~LKThreadTest() override { qunsetenv("OSTRIK_LOCKFILE"); }

    /** A started thread. As in the server, it is never destroyed. */
    LKThread& startThread()
    {
        static auto& threads = *new std::vector<LKThread*>; // keeps them reachable for leak checkers
        threads.push_back(new LKThread(&application_));
        return *threads.back();
    }

    /** The result of exec(), which could otherwise only be ended by a time-out. */
    static int runEventLoop(int statusOfTimeOut, std::chrono::milliseconds limit)
    {
        QTimer::singleShot(limit, [statusOfTimeOut] { QCoreApplication::exit(statusOfTimeOut); });
        return QCoreApplication::exec();
    }

    const TempDir directory_;
    const std::string path_ = directory_.file("parent.lock");
    int argumentCount_ = 1;
    char program_[5] = "test";
    char* arguments_[2] = {program_, nullptr};
    QCoreApplication application_{argumentCount_, arguments_};
};

} // namespace

TEST_F(LKThreadTest, UnheldFileEndsAnEventLoopThatStartsLater)
{
    {
        const LockHolder creates(path_, LockKind::File);
    }
    qputenv("OSTRIK_LOCKFILE", QByteArray::fromStdString(path_));
    const LogCapture log;
    LKThread& thread = startThread();
    ASSERT_TRUE(thread.wait());
    EXPECT_EQ(runEventLoop(7, std::chrono::minutes(1)), 0);
    EXPECT_THAT(log.lines(), ElementsAre("[DEBUG] waiting for " + path_, "[WARN] Quorva exiting"));
}

TEST_F(LKThreadTest, HolderThatDiesEndsTheRunningEventLoop)
{
    LockHolder parent(path_, LockKind::File);
    qputenv("OSTRIK_LOCKFILE", QByteArray::fromStdString(path_));
    const LogCapture log;
    LKThread& thread = startThread();
    QTimer::singleShot(0, [&] {
        EXPECT_TRUE(log.waitFor("waiting for "));
        EXPECT_EQ(log.count("Quorva exiting"), 0u);
        parent.die();
    });
    EXPECT_EQ(runEventLoop(7, std::chrono::minutes(1)), 0);
    EXPECT_TRUE(thread.wait());
    EXPECT_THAT(log.lines(), ElementsAre("[DEBUG] waiting for " + path_, "[WARN] Quorva exiting"));
}

TEST_F(LKThreadTest, MissingFileIsReportedAndEndsNothing)
{
    qputenv("OSTRIK_LOCKFILE", QByteArray::fromStdString(path_));
    const LogCapture log;
    LKThread& thread = startThread();
    ASSERT_TRUE(thread.wait());
    EXPECT_EQ(runEventLoop(7, std::chrono::milliseconds(0)), 7);
    EXPECT_THAT(log.lines(),
                ElementsAre("[DEBUG] waiting for " + path_,
                            "[ERROR] bdbserver 144 CreateMutex failed with error " + std::to_string(ENOENT)));
}

TEST_F(LKThreadTest, FailingWaitIsReportedAndEndsNothing)
{
    const LockHolder parent(path_, LockKind::File);
    qputenv("OSTRIK_LOCKFILE", QByteArray::fromStdString(path_));
    const LogCapture log;
    const bool filtered = runWithFailingCalls({SYS_flock}, ENOLCK, [this] {
        LKThread& thread = startThread();
        EXPECT_TRUE(thread.wait());
    });
    if (!filtered)
        GTEST_SKIP() << "no system call filters here";
    EXPECT_EQ(runEventLoop(7, std::chrono::milliseconds(0)), 7);
    EXPECT_THAT(log.lines(), ElementsAre("[DEBUG] waiting for " + path_,
                                         "[ERROR] bdbserver 149 WaitForSingleObject failed with error code: " +
                                             std::to_string(ENOLCK)));
}

TEST_F(LKThreadTest, UnsetOrEmptyNameIsAMissingFile)
{
    for (const bool set : {false, true}) {
        set ? qputenv("OSTRIK_LOCKFILE", "") : qunsetenv("OSTRIK_LOCKFILE");
        const LogCapture log;
        LKThread& thread = startThread();
        ASSERT_TRUE(thread.wait());
        EXPECT_EQ(runEventLoop(7, std::chrono::milliseconds(0)), 7);
        EXPECT_THAT(log.lines(),
                    ElementsAre("[DEBUG] waiting for ",
                                "[ERROR] bdbserver 144 CreateMutex failed with error " + std::to_string(ENOENT)));
    }
}
