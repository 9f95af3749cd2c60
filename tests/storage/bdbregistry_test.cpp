#include "storage/bdbregistry.h"

#include "childprocess.h"
#include "loglines.h"
#include "registryfixture.h"
#include "support/blockedcall.h"
#include "support/logcapture.h"
#include "support/waituntil.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <unistd.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST_F(OpenEnvTest, OpensAndRegistersAnEnvironment)
{
    const QByteArray home = makeHome();
    LogCapture log;
    EnvironmentUse use;
    EXPECT_EQ(open(home, &use), 0);
    ASSERT_NE(use.env(), nullptr);
    EXPECT_THAT(ownLines(log),
                ElementsAre("[DEBUG] Adding new env path " + home.toStdString() + " id env::" + home.toStdString()));
    EXPECT_EQ(registry_.names(), (QHash<QString, int>{{RegistryKeys::canonical(RegistryKeys::environment(home)), 1}}));
    EXPECT_EQ(registry_.locks().keys(), registry_.names().keys());
    EXPECT_EQ(registry_.getObject(1, BDBEnvType), static_cast<BDBObject*>(use.env()));
    const char* opened = nullptr;
    EXPECT_EQ(use.env()->get_home(&opened), 0);
    EXPECT_EQ(QByteArray(opened), home);
}

TEST_F(OpenEnvTest, SecondOpenFindsTheSameEnvironmentAndOpensNothing)
{
    const QByteArray home = makeHome();
    EnvironmentUse first;
    ASSERT_EQ(open(home, &first), 0);
    LogCapture log;
    for (const int create : {1, 0}) {
        EnvironmentUse second;
        EXPECT_EQ(open(home, &second, create), 0);
        EXPECT_EQ(second.env(), first.env());
    }
    EXPECT_THAT(ownLines(log), IsEmpty());
    EXPECT_EQ(registry_.names().size(), 1);
}

TEST_F(OpenEnvTest, HandsTheEnvironmentsAccessLockOutWithIt)
{
    const QByteArray home = makeHome();
    for (const QByteArray& spelling : {home, home, home + "/."}) { // opened, found, found under another name
        EnvironmentUse use;
        ASSERT_EQ(open(spelling, &use), 0);
        EXPECT_TRUE(use.shareAccess());
        const auto lock = registry_.locks().value(RegistryKeys::canonical(RegistryKeys::environment(home)));
        BlockedCall writer([lock] {
            lock->lockForWrite();
            lock->unlock();
        });
        EXPECT_TRUE(waitUntil([&] { return writer.sleeps(); }));
        use.reset();
        writer.get();
    }
}

TEST_F(OpenEnvTest, WithoutCreateAnUnknownEnvironmentIs3)
{
    const QByteArray home = makeHome();
    EnvironmentUse use(openedEnv(makeHome("other")), std::make_shared<EnvironmentUseCount>(), nullptr);
    LogCapture log;
    EXPECT_EQ(open(home, &use, 0), 3);
    EXPECT_EQ(use.env(), nullptr);
    EXPECT_THAT(ownLines(log), ElementsAre("[CRIT] bdb # Failed to load env with id: env::" + home.toStdString()));
    EXPECT_TRUE(std::filesystem::is_empty(home.toStdString()));
    EXPECT_EQ(registry_.names().size(), 1);
}

TEST_F(OpenEnvTest, EnvironmentThatCannotBeOpenedIs3)
{
    std::ofstream(temp_.file("file")) << "text";
    const std::string missing = temp_.file("missing");
    const std::string file = temp_.file("file");
    const std::string cut = temp_.file("cut");
    struct Case {
        QByteArray home;
        std::string line;
    };
    const std::vector<Case> cases = {
        {QByteArray::fromStdString(missing), missing + " id env::" + missing + " rc 2"},
        {QByteArray::fromStdString(file), file + " id env::" + file + " rc 20"},
        {QByteArray(""), " id env:: rc 2"},
        {QByteArray::fromStdString(cut) + QByteArray("\0tail", 5), cut}, // log lines end at a zero byte
    };
    for (const Case& c : cases) {
        LogCapture log;
        EnvironmentUse use;
        EXPECT_EQ(open(c.home, &use), 3);
        EXPECT_EQ(use.env(), nullptr);
        EXPECT_THAT(ownLines(log), ElementsAre("[CRIT] bdb # Failed to open env path: " + c.line));
    }
    EXPECT_TRUE(registry_.names().isEmpty());
    EXPECT_TRUE(registry_.locks().isEmpty());
    EXPECT_FALSE(std::filesystem::exists(missing)); // a mistyped name leaves nothing behind
    EXPECT_FALSE(std::filesystem::exists(cut));
}

TEST_F(OpenEnvTest, DirectoryThatAppearsLaterCanBeOpened)
{
    const QByteArray home = temp_.bytes() + "/later";
    EnvironmentUse use;
    {
        LogCapture log;
        EXPECT_EQ(open(home, &use), 3);
    }
    makeHome("later");
    EXPECT_EQ(open(home, &use), 0);
    EXPECT_NE(use.env(), nullptr);
}

TEST_F(OpenEnvTest, DirectoryOfAnotherProcessIs3UntilThatEnds)
{
    const QByteArray home = makeHome();
    ChildProcess holder([&](const ChildProcess::Teller& teller) {
        teller.tell(openedEnv(home) != nullptr ? 0 : 1);
        (void)pause();
    });
    int failed = 1;
    ASSERT_TRUE(holder.hear(&failed));
    ASSERT_EQ(failed, 0);
    EnvironmentUse use;
    {
        LogCapture log;
        EXPECT_EQ(open(home, &use), 3);
        EXPECT_THAT(ownLines(log), ElementsAre("[CRIT] bdb # Failed to open env path: " + home.toStdString() +
                                               " id env::" + home.toStdString() + " rc 11"));
    }
    holder.kill();
    EXPECT_EQ(open(home, &use), 0);
}

TEST_F(OpenEnvTest, ManyThreadsOpenOneEnvironmentOnce)
{
    constexpr int Threads = 8;
    const QByteArray home = makeHome();
    std::vector<BDBEnv*> found(Threads, nullptr);
    LogCapture log;
    std::vector<std::thread> threads;
    for (BDBEnv*& env : found)
        threads.emplace_back([&] { env = openedEnv(home); });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_THAT(found, testing::Each(found.front()));
    EXPECT_EQ(log.count("Adding new env path "), 1U);
}

TEST_F(OpenEnvTest, EarlierHoldIsReleased)
{
    const QByteArray first = makeHome("first");
    EnvironmentUse use;
    ASSERT_EQ(open(first, &use), 0);
    ASSERT_EQ(open(makeHome("second"), &use), 0);
    lockAndRemove(first); // waits for all holds
    EXPECT_EQ(registry_.names().size(), 1);
}

TEST_F(OpenEnvTest, FailureGivesTheEarlierHoldBack)
{
    const QByteArray home = makeHome();
    EnvironmentUse use;
    ASSERT_EQ(open(home, &use), 0);
    LogCapture log;
    EXPECT_EQ(open(temp_.bytes() + "/missing", &use), 3);
    EXPECT_EQ(use.env(), nullptr);
    lockAndRemove(home);
}

} // namespace
