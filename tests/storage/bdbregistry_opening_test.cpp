// What other requests see while an environment is being opened.
#include "storage/bdbregistry.h"

#include "base/directorylock.h"
#include "loglines.h"
#include "registryfixture.h"
#include "replacedcalls.h"
#include "storage/bdbenv.h"
#include "storage/bdbhotbackup.h"
#include "storage/openingenvironments.h"
#include "support/background.h"
#include "support/waituntil.h"

#include <atomic>
#include <cstddef>
#include <fstream>
#include <future>
#include <new>
#include <optional>
#include <vector>

namespace {

using namespace std::chrono_literals;

/** An environment whose opening lasts until the test ends it: it waits for the lock on the directory. */
class SlowOpening : public RegistryFixture {
protected:
    std::string config() const { return home_.toStdString() + "/DB_CONFIG"; }

    /** Another thread that is opening the environment when this returns. */
    std::future<BDBEnv*> openingElsewhere()
    {
        auto opening = inBackground([this] { return openHere(); });
        EXPECT_TRUE(waitUntil([this] { return isOpening(); }));
        return opening;
    }

    /** Returns when this many threads wait for the opening in progress. */
    void waitForWaiting(long threads) const
    {
        constexpr long Others = 2; // the list of openings, and this function
        EXPECT_TRUE(waitUntil([&] {
            return OpeningEnvironments::instance().find(RegistryKeys::environment(home_)).use_count() >=
                   Others + threads;
        }));
    }

    BDBEnv* openHere()
    {
        EnvironmentUse use;
        result_ = open(home_, &use);
        return use.env();
    }

    bool isOpening() const { return OpeningEnvironments::instance().find(RegistryKeys::environment(home_)) != nullptr; }

    /** Lets the opening continue, with these lines as its DB_CONFIG. */
    void finishWith(const std::string& lines)
    {
        std::ofstream(config()) << lines;
        stalled_.reset();
    }

    const QByteArray home_ = makeHome("slow");
    std::optional<StalledLock> stalled_{home_.constData()};
    std::atomic<int> result_{-1}; // of the latest openHere()
};

TEST_F(SlowOpening, OtherEnvironmentsAreOpenedUsedAndClosedMeanwhile)
{
    const QByteArray before = makeHome("open before");
    BDBEnv* env = openedEnv(before);
    auto opening = openingElsewhere();
    auto others = inBackground([&] {
        EXPECT_EQ(openedEnv(before), env);
        const QByteArray other = makeHome("other");
        EXPECT_NE(openedEnv(other), nullptr);
        EXPECT_NE(Registry::lockEnv(&registry_, other + "|t", false), nullptr);
        Registry::unlockEnv(&registry_, other + "|t");
        lockAndRemove(other + "|t");
        EnvironmentUse use;
        LogCapture log;
        EXPECT_EQ(open(temp_.bytes() + "/missing", &use), 3);
    });
    EXPECT_EQ(others.wait_for(60s), std::future_status::ready);
    EXPECT_TRUE(isOpening());
    finishWith("");
    others.get();
    EXPECT_NE(opening.get(), nullptr);
    EXPECT_EQ(result_, 0);
}

TEST_F(SlowOpening, WhoeverWantsTheSameEnvironmentGetsItOpenedOnce)
{
    LogCapture log;
    auto opening = openingElsewhere();
    std::vector<std::future<BDBEnv*>> others(6);
    for (auto& other : others)
        other = inBackground([this] { return openHere(); });
    waitForWaiting(6);
    finishWith("");
    BDBEnv* env = opening.get();
    EXPECT_NE(env, nullptr);
    for (auto& other : others)
        EXPECT_EQ(other.get(), env);
    EXPECT_EQ(log.count("Adding new env path "), 1U);
    EXPECT_FALSE(isOpening());
}

TEST_F(SlowOpening, AFailureIsTheResultOfAllWhoWaitedForIt)
{
    LogCapture log(LogWarn);
    auto opening = openingElsewhere();
    std::vector<std::future<BDBEnv*>> others(6);
    for (auto& other : others)
        other = inBackground([this] { return openHere(); });
    waitForWaiting(6);
    finishWith("nonsense 1\n");
    EXPECT_EQ(opening.get(), nullptr);
    for (auto& other : others)
        EXPECT_EQ(other.get(), nullptr);
    EXPECT_EQ(result_, 3);
    EXPECT_EQ(
        log.count("Failed to open env path: " + home_.toStdString() + " id env::" + home_.toStdString() + " rc 22"),
        7U);
    EXPECT_EQ(log.count("unrecognized name-value pair"), 1U); // tried once
    EXPECT_TRUE(registry_.names().isEmpty());

    std::ofstream(config()) << ""; // once corrected, it opens
    EXPECT_NE(openHere(), nullptr);
}

TEST_F(SlowOpening, ADeleteTableWaitsForItAndFindsTheEnvironment)
{
    auto opening = openingElsewhere();
    auto deleting = inBackground([&] {
        EnvironmentUse use;
        return open(home_, &use, 0);
    });
    waitForWaiting(1);
    finishWith("");
    EXPECT_EQ(deleting.get(), 0);
    EXPECT_NE(opening.get(), nullptr);
}

TEST_F(SlowOpening, ADeleteTableOfOneThatFailsToOpenFindsNone)
{
    LogCapture log(LogWarn);
    auto opening = openingElsewhere();
    auto deleting = inBackground([&] {
        EnvironmentUse use;
        return open(home_, &use, 0);
    });
    waitForWaiting(1);
    finishWith("nonsense 1\n");
    EXPECT_EQ(deleting.get(), 3);
    EXPECT_EQ(opening.get(), nullptr);
    EXPECT_EQ(log.count("Failed to load env with id: env::" + home_.toStdString()), 1U);
}

using OpeningWithoutMemory = RegistryFixture;

} // namespace

TEST_F(OpeningWithoutMemory, CanBeRepeated)
{
    const QByteArray home = makeHome("little");
    EnvironmentUse use;
    for (const std::size_t lacking : {sizeof(BDBEnv), sizeof(BDBHotBackupThread)}) {
        SCOPED_TRACE(lacking);
        {
            const NoMemoryFor it(lacking);
            EXPECT_THROW((void)open(home, &use), std::bad_alloc); // closes the connection of the request
        }
        ASSERT_EQ(OpeningEnvironments::instance().find(RegistryKeys::environment(home)), nullptr)
            << "others would wait for it for good";
        Base::DirectoryLock lock;
        EXPECT_EQ(lock.lock(home.constData()), 0);
    }
    EXPECT_EQ(open(home, &use), 0);
    EXPECT_NE(use.env(), nullptr);
}
