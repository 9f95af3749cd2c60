// Requests that meet an environment while it is being removed.
#include "storage/bdbregistry.h"

#include "loglines.h"
#include "removeenvfixture.h"
#include "rows.h"
#include "storage/closingenvironments.h"
#include "storage/deadlockretry.h"
#include "support/logcapture.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include <unistd.h>

namespace {

TEST_F(RemoveEnvTest, WaitsUntilNobodyHoldsOnToTheEnvironment)
{
    EnvironmentUse use;
    ASSERT_EQ(open(home_, &use), 0);
    auto removing = removingElsewhere();
    EXPECT_TRUE(removing.blocksIn(*use.env()->uses()));
    EXPECT_EQ(putRow(orders(use.env()), nullptr, "key", "value"), 0); // it is still usable
    use.reset();
    removing.get();
    EXPECT_TRUE(isDirectoryFree(home_));
}

TEST_F(RemoveEnvTest, OpenerWaitsForTheCloseAndOpensAnew)
{
    EnvironmentUse use;
    ASSERT_EQ(open(home_, &use), 0);
    ASSERT_EQ(putRow(orders(use.env()), nullptr, "key", "value"), 0);
    auto removing = removingElsewhere();
    LogCapture log;
    BlockedCall opening([&] { return openedEnv(home_ + "/."); });
    EXPECT_TRUE(opening.blocksIn(ClosingEnvironments::instance()));
    use.reset();
    removing.get();
    BDBEnv* env = opening.get();
    EXPECT_EQ(log.count("[DEBUG] Adding new env path "), 1U);
    EXPECT_EQ(log.count("[CRIT]"), 0U) << log.text();
    EXPECT_EQ(rowOf(orders(env), nullptr, "key"), "value");
}

TEST_F(RemoveEnvTest, OpenerThatHoldsTheEnvironmentReleasesIt)
{
    EnvironmentUse use;
    ASSERT_EQ(open(home_, &use), 0);
    const auto uses = use.env()->uses();
    auto removing = removingElsewhere();
    EXPECT_EQ(open(home_, &use), 0); // would wait for its own use
    removing.get();
    ASSERT_NE(use.env(), nullptr);
    EXPECT_NE(use.env()->uses(), uses); // another object, though perhaps at the same address
}

TEST_F(RemoveEnvTest, OpenerThatMustNotCreateDoesNotWait)
{
    EnvironmentUse use;
    ASSERT_EQ(open(home_, &use), 0);
    auto removing = removingElsewhere();
    LogCapture log;
    EnvironmentUse second;
    EXPECT_EQ(open(home_, &second, 0), 3);
    EXPECT_EQ(log.count("Failed to load env with id: "), 1U);
    use.reset();
    removing.get();
}

TEST_F(RemoveEnvTest, OtherEnvironmentsContinueMeanwhile)
{
    const QByteArray other = makeHome("other");
    EnvironmentUse use;
    ASSERT_EQ(open(home_, &use), 0);
    auto removing = removingElsewhere();
    EXPECT_EQ(putRow(orders(openedEnv(other)), nullptr, "key", "value"), 0);
    EXPECT_NE(Registry::lockEnv(&registry_, other, false), nullptr);
    Registry::unlockEnv(&registry_, other);
    use.reset();
    removing.get();
    lockAndRemove(other);
}

TEST_F(RemoveEnvTest, SecondRemoverFindsNothingToDo)
{
    EnvironmentUse use;
    ASSERT_EQ(open(home_, &use), 0);
    auto removing = removingElsewhere();
    BlockedCall second([&] { return Registry::lockEnv(&registry_, home_, true); });
    EXPECT_TRUE(waitUntil([&] { return second.sleeps(); })); // the first holds the access lock to the end
    use.reset();
    removing.get();
    EXPECT_EQ(second.get(), nullptr); // and removed it
    EXPECT_TRUE(isDirectoryFree(home_));
}

TEST_F(RemoveEnvTest, RequestsAndRemoversInManyThreadsNeverMeetAClosedEnvironment)
{
    constexpr int Writers = 4;
    constexpr int Rows = 40;
    constexpr int Removals = 40;
    ASSERT_EQ(symlink(home_.constData(), temp_.file("link").c_str()), 0);
    const std::vector<QByteArray> spellings = {home_, home_ + "/", temp_.bytes() + "/link", temp_.bytes() + "/./home"};
    LogCapture log(LogWarn);
    std::atomic<int> refused{0};

    // Like a request: find the environment, lock it, work, unlock. False if it is being deleted.
    const auto write = [&](const QByteArray& home, const std::string& key) {
        EnvironmentUse use;
        EXPECT_EQ(open(home, &use), 0) << home.toStdString();
        const auto lock = use.env() != nullptr ? Registry::lockEnv(&registry_, home + "|orders", false) : nullptr;
        if (!lock) {
            ++refused;
            return false;
        }
        BDBIndex* index = orders(use.env());
        const int rc = Deadlocks::retry([&] { return putRow(index, nullptr, key, key); }, [](int) {});
        EXPECT_EQ(rc, 0);
        use.reset();
        lock->unlock();
        return rc == 0;
    };
    std::vector<std::thread> threads;
    for (std::size_t w = 0; w < Writers; ++w)
        threads.emplace_back([&, w] {
            for (std::size_t i = 0; i < Rows; ++i)
                while (!write(spellings[(w + i) % spellings.size()], std::to_string(w) + '-' + std::to_string(i)))
                    std::this_thread::yield();
        });
    for (std::size_t r = 0; r < 2; ++r)
        threads.emplace_back([&, r] {
            for (std::size_t i = 0; i < Removals; ++i) {
                const QByteArray table = spellings[(r + i) % spellings.size()] + "|orders";
                if (const auto lock = Registry::lockEnv(&registry_, table, true)) {
                    Registry::removeEnv(&registry_, table);
                    Registry::dropEnvLock(&registry_, lock);
                }
            }
        });
    for (std::thread& thread : threads)
        thread.join();

    BDBIndex* index = orders(openedEnv(home_));
    for (int w = 0; w < Writers; ++w)
        for (int i = 0; i < Rows; ++i) {
            const std::string key = std::to_string(w) + '-' + std::to_string(i);
            EXPECT_EQ(rowOf(index, nullptr, key), key);
        }
    // A request that meets a removal may find no lock; nothing else may be logged.
    for (const std::string& line : ownLines(log))
        EXPECT_TRUE(line.starts_with("[ERROR] bdb # Failed to find lock for dbid: env::")) << line;
}

} // namespace
