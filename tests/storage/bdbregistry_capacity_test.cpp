// How many environments the registry holds, how many objects an environment, and what happens when they are full.
#include "storage/bdbregistry.h"

#include "loglines.h"
#include "registryfixture.h"
#include "support/logcapture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST_F(OpenEnvTest, FullRegistryLeavesTheEnvironmentOpenAndOwnedByNobody)
{
    for (int descriptor = 1; descriptor < 8; ++descriptor)
        ASSERT_EQ(registry_.addDesc(&quota_), descriptor);
    const QByteArray home = makeHome();
    LogCapture log;
    EnvironmentUse use;
    EXPECT_EQ(open(home, &use), 2);
    EXPECT_THAT(ownLines(log),
                ElementsAre("[DEBUG] Adding new env path " + home.toStdString() + " id env::" + home.toStdString(),
                            "[CRIT] bdb # Failed to add env with id: env::" + home.toStdString()));
    ASSERT_NE(use.env(), nullptr);
    EXPECT_TRUE(registry_.names().isEmpty());
    EXPECT_TRUE(registry_.locks().isEmpty());
    const std::unique_ptr<BDBEnv> owned(use.env()); // the test has to close it, as nothing else does
    EXPECT_EQ(owned->txn_checkpoint(0, 0, 0), 0);
    EXPECT_FALSE(isDirectoryFree(home));
    EnvironmentUse second;
    EXPECT_EQ(open(home, &second), 3); // the directory is locked
}

TEST_F(OpenEnvTest, RegistryOfTheServerHoldsOneLessThanItsSlots)
{
    BDBObjTable registry(8192);
    for (int descriptor = 1; descriptor < 8191; ++descriptor)
        ASSERT_EQ(registry.addDesc(&quota_), descriptor);
    const QByteArray last = makeHome("last");
    const QByteArray tooMany = makeHome("too many");
    EnvironmentUse use;
    EXPECT_EQ(Registry::openEnv(&registry, RegistryKeys::environment(last), &use, TableCapacity, 1, last), 0);
    EXPECT_EQ(registry.getObject(8191, BDBEnvType), static_cast<BDBObject*>(use.env()));
    use.reset();
    LogCapture log;
    EXPECT_EQ(Registry::openEnv(&registry, RegistryKeys::environment(tooMany), &use, TableCapacity, 1, tooMany), 2);
    delete use.env();
    Registry::removeEnv(&registry, last);
}

TEST_F(OpenEnvTest, EnvironmentGetsItsTableCapacity)
{
    EnvironmentUse use;
    const QByteArray home = makeHome();
    ASSERT_EQ(Registry::openEnv(&registry_, RegistryKeys::environment(home), &use, 3, 1, home), 0);
    EXPECT_EQ(use.env()->addDesc(&quota_), 1);
    EXPECT_EQ(use.env()->addDesc(&quota_), 2);
    EXPECT_EQ(use.env()->addDesc(&quota_), -1);
}

TEST(RegisterEnv, GivesTheEnvironmentADescriptorANameAndALock)
{
    BDBEnv env(16, DB_CXX_NO_EXCEPTIONS);
    BDBObjTable registry(8);
    EXPECT_EQ(Registry::registerEnv(&registry, &env, "env::one"), 1);
    EXPECT_EQ(Registry::registerEnv(&registry, &env, "env::two"), 2);
    EXPECT_EQ(registry.names(), (QHash<QString, int>{{"env::one", 1}, {"env::two", 2}}));
    ASSERT_NE(registry.locks().value("env::one"), nullptr);
    ASSERT_NE(registry.locks().value("env::two"), nullptr);
    EXPECT_NE(registry.locks().value("env::one"), registry.locks().value("env::two"));
    EXPECT_EQ(registry.getObject(2, BDBEnvType), static_cast<BDBObject*>(&env));
}

TEST(RegisterEnv, FullRegistryIsMinusOneAndStaysAsItWas)
{
    BDBEnv env(16, DB_CXX_NO_EXCEPTIONS);
    BDBObjTable registry(2);
    ASSERT_EQ(Registry::registerEnv(&registry, &env, "env::one"), 1);
    LogCapture log;
    EXPECT_EQ(Registry::registerEnv(&registry, &env, "env::two"), -1);
    EXPECT_EQ(registry.names(), (QHash<QString, int>{{"env::one", 1}}));
    EXPECT_EQ(registry.locks().size(), 1);
    EXPECT_THAT(ownLines(log), IsEmpty()); // it holds no databases to name; the caller logs the rest
}

} // namespace
