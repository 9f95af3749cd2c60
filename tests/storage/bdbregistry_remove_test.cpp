#include "storage/bdbregistry.h"

#include "loglines.h"
#include "removeenvfixture.h"
#include "rows.h"
#include "support/logcapture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST_F(RemoveEnvTest, ClosesAndForgetsTheEnvironment)
{
    ASSERT_EQ(putRow(orders(openedEnv(home_)), nullptr, "key", "value"), 0);
    ASSERT_FALSE(isDirectoryFree(home_));
    LogCapture log;
    Registry::removeEnv(&registry_, home_ + "|orders");
    EXPECT_TRUE(isDirectoryFree(home_));
    EXPECT_TRUE(registry_.names().isEmpty());
    EXPECT_EQ(registry_.locks().size(), 1); // the caller holds the lock, and drops it later
    EXPECT_THAT(ownLines(log), IsEmpty());
    EXPECT_EQ(registry_.addDesc(&quota_), 1); // the slot is free
}

TEST_F(RemoveEnvTest, EnvironmentCanBeOpenedAgainWithItsData)
{
    ASSERT_EQ(putRow(orders(openedEnv(home_)), nullptr, "key", "value"), 0);
    lockAndRemove(home_ + "|orders");
    EXPECT_EQ(rowOf(orders(openedEnv(home_)), nullptr, "key"), "value");
    EXPECT_EQ(registry_.locks().size(), 1);
}

TEST_F(RemoveEnvTest, UnknownEnvironmentIsNothingToDo)
{
    BDBEnv* env = openedEnv(home_);
    LogCapture log;
    Registry::removeEnv(&registry_, "/missing|orders");
    Registry::removeEnv(&registry_, "|orders");
    Registry::removeEnv(&registry_, "");
    EXPECT_THAT(ownLines(log), IsEmpty());
    EXPECT_EQ(openedEnv(home_), env);
}

TEST_F(RemoveEnvTest, SlotThatHoldsNoEnvironmentIsLeftAlone)
{
    ASSERT_EQ(registry_.addDesc(&quota_), 1);
    registry_.names().insert("env::/somewhere", 1);
    LogCapture log;
    Registry::removeEnv(&registry_, "/somewhere|orders");
    EXPECT_THAT(ownLines(log), ElementsAre("[ERROR] bdb # Object type mismatch (5 6) for descriptor 1"));
    EXPECT_EQ(registry_.getObject(1, BDBQuotaType), &quota_);
    registry_.names().clear();
}

TEST_F(RemoveEnvTest, AnySpellingRemovesAllNames)
{
    ASSERT_EQ(symlink(home_.constData(), temp_.file("link").c_str()), 0);
    (void)openedEnv(home_);
    (void)openedEnv(home_ + "/");
    (void)openedEnv(home_ + "/.");
    lockAndRemove(temp_.bytes() + "/link|orders");
    EXPECT_TRUE(registry_.names().isEmpty());
    EXPECT_TRUE(registry_.locks().isEmpty());
    EXPECT_TRUE(isDirectoryFree(home_));
}

TEST_F(RemoveEnvTest, TheLockThatIsHeldDecidesAndNotWhereTheNameLeadsSince)
{
    const QByteArray other = makeHome("other");
    const QByteArray link = temp_.bytes() + "/link";
    ASSERT_EQ(symlink(home_.constData(), link.constData()), 0);
    BDBEnv* env = openedEnv(link);
    const auto lock = Registry::lockEnv(&registry_, link + "|t", true);
    ASSERT_EQ(unlink(link.constData()), 0);
    ASSERT_EQ(symlink(other.constData(), link.constData()), 0);
    ASSERT_TRUE(waitUntil([&] { return openedEnv(link) != env; }));
    Registry::removeEnv(&registry_, link + "|t", lock);
    Registry::dropEnvLock(&registry_, lock);
    EXPECT_TRUE(isDirectoryFree(home_));
    EXPECT_FALSE(isDirectoryFree(other));
    EXPECT_NE(Registry::lockEnv(&registry_, link + "|t", false), nullptr);
    Registry::unlockEnv(&registry_, link + "|t");
}

} // namespace
