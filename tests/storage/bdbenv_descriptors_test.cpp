// A label of its own, as the library waits for twelve seconds when it meets the descriptor limit.
#include "storage/bdbenv.h"

#include "childprocess.h"
#include "descriptorlimit.h"
#include "loglines.h"
#include "rows.h"
#include "storage/bdbregistry.h"
#include "support/tempdir.h"

namespace {

constexpr int Tables = 30;

BDBIndex* openedIndex(BDBEnv& env, int number)
{
    BDBObjTable connection(4);
    connection.setEnv(&env);
    BDBIndex* index = nullptr;
    const QByteArray file = "table" + QByteArray::number(number);
    EXPECT_EQ(openIndex(&connection, QString::fromUtf8("db::" + file + ":data"), file, "data", &index), 0);
    return index;
}

TEST(BDBEnvOpen, RecoveryThatRunsOutOfDescriptorsFailsAndCanBeRepeated)
{
    const TempDir home;
    ChildProcess writer([&](const ChildProcess::Teller& teller) {
        BDBEnv env(Tables + 1, DB_CXX_NO_EXCEPTIONS);
        ASSERT_EQ(env.open(home.bytes()), 0);
        for (int i = 0; i < Tables; ++i)
            EXPECT_EQ(putRow(openedIndex(env, i), nullptr, "key", "value"), 0);
        teller.tell(testing::Test::HasFailure() ? 1 : 0);
        (void)pause();
    });
    int failed = 1;
    ASSERT_TRUE(writer.hear(&failed));
    EXPECT_EQ(failed, 0);
    writer.kill();

    ChildProcess restarted([&](const auto&) {
        limitDescriptors(Tables - 5); // recovery opens every file that was written
        {
            LogCapture log;
            BDBEnv env(Tables + 1, DB_CXX_NO_EXCEPTIONS);
            EXPECT_NE(env.open(home.bytes()), 0);
        }
        limitDescriptors(Tables + 50);
        BDBEnv env(Tables + 1, DB_CXX_NO_EXCEPTIONS);
        ASSERT_EQ(env.open(home.bytes()), 0);
        for (int i = 0; i < Tables; ++i)
            EXPECT_EQ(rowOf(openedIndex(env, i), nullptr, "key"), "value") << i;
    });
    EXPECT_EQ(restarted.waitForExit(), 0);
}

} // namespace
