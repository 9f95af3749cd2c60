#include "storage/bdbenv.h"

#include "loglines.h"
#include "rows.h"
#include "storage/bdbindex.h"
#include "storage/bdbtxn.h"
#include "support/directorycontents.h"
#include "support/tempenv.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <memory>
#include <string>

namespace {

using testing::IsEmpty;

TEST(BDBEnv, IsATableOfItsCapacity)
{
    BDBEnv env(3, DB_CXX_NO_EXCEPTIONS);
    EXPECT_EQ(env.type(), 5);
    EXPECT_TRUE(env.names().isEmpty());
    EXPECT_TRUE(env.lockNames().isEmpty());
    EXPECT_EQ(env.env(), nullptr);
    EXPECT_EQ(env.addDesc(new BDBTxn), 1);
    EXPECT_EQ(env.addDesc(new BDBTxn), 2);
    auto third = std::make_unique<BDBTxn>();
    EXPECT_EQ(env.addDesc(third.get()), -1);
}

TEST(BDBEnv, ReportsFailuresByResultAndNotByException)
{
    TempEnv env;
    LogCapture log;
    EXPECT_EQ(env->dbremove(nullptr, "missing", nullptr, DB_AUTO_COMMIT), ENOENT);
    BDBEnv closed(16, DB_CXX_NO_EXCEPTIONS);
    EXPECT_EQ(closed.txn_checkpoint(0, 0, 0), EINVAL); // never opened
}

TEST(BDBEnv, BackupWithoutAHotBackupIs3)
{
    const TempDir target;
    BDBEnv env(16, DB_CXX_NO_EXCEPTIONS); // gets its hot backup when it is opened
    for (const int mode : {0, 1, 2})
        EXPECT_EQ(env.backup(QString::fromStdString(target.path()), mode), 3);
    EXPECT_THAT(namesIn(target.path()), IsEmpty());
}

/** Records whether the environment was still open when this handle was destroyed. */
class WatchedIndex : public BDBIndex {
public:
    WatchedIndex(BDBEnv* env, bool* environmentWasOpen)
        : BDBIndex(env, DB_CXX_NO_EXCEPTIONS), environment_(env), environmentWasOpen_(environmentWasOpen)
    {}
    ~WatchedIndex() override { *environmentWasOpen_ = environment_->get_DB_ENV() != nullptr; }

private:
    DbEnv* const environment_;
    bool* const environmentWasOpen_;
};

TEST(BDBEnv, DestructorClosesDatabasesBeforeTheEnvironment)
{
    // Berkeley DB frees handles that are open when an environment closes: they must not be closed afterwards.
    TempEnv env;
    bool environmentWasOpen = false;
    auto index = std::make_unique<WatchedIndex>(env.get(), &environmentWasOpen);
    ASSERT_EQ(index->open("orders", "data", DB_BTREE, DB_CREATE | DB_THREAD | DB_AUTO_COMMIT), 0);
    ASSERT_EQ(env->addDesc(index.release()), 1);
    env.close();
    EXPECT_TRUE(environmentWasOpen);
}

TEST(BDBEnv, DestructorIsQuietAndLeavesTheDataBehind)
{
    TempEnv env;
    ASSERT_EQ(putRow(env.index("orders"), nullptr, "key", "value"), 0);
    (void)env.index("stock");
    LogCapture log;
    env.close();
    EXPECT_THAT(ownLines(log), IsEmpty());
    env.reopen();
    EXPECT_EQ(rowOf(env.index("orders"), nullptr, "key"), "value");
}

TEST(BDBEnv, DestructorOfOneThatNeverOpenedIsQuiet)
{
    LogCapture log;
    {
        const BDBEnv env(16, DB_CXX_NO_EXCEPTIONS);
    }
    EXPECT_THAT(ownLines(log), IsEmpty());
}

TEST(BDBEnv, ItsUseCountOutlivesIt)
{
    auto env = std::make_unique<BDBEnv>(16, DB_CXX_NO_EXCEPTIONS);
    const std::shared_ptr<EnvironmentUseCount> uses = env->uses();
    EnvironmentUse use(env.get(), uses, nullptr);
    env.reset();
    use.reset();
    uses->waitUnused();
}

TEST(BDBEnv, StartsItsThreadsAndEndsThemQuickly)
{
    const LogCapture log(LogInfo);
    TempEnv env;
    EXPECT_TRUE(log.waitFor("Done txn_checkpoint"));
    const auto start = std::chrono::steady_clock::now();
    env.close(); // takes five minutes if the sleeps are not interrupted
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(60));
}

} // namespace
