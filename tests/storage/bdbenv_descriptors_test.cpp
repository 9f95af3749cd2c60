#include "storage/bdbenv.h"

#include "childprocess.h"
#include "descriptorlimit.h"
#include "listing.h"
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

TEST(BDBEnvOpen, IsRefusedAtOnceWithoutADescriptorForEachDatabaseFileAndCanBeRepeated)
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
        const auto before = contentOf(home.path());
        // Recovery opens every file that was written. One descriptor is for the directory and 16 are for the rest.
        for (const int left : {Tables - 5, Tables + 1, Tables + 16}) {
            limitDescriptors(left);
            LogCapture log;
            BDBEnv env(Tables + 1, DB_CXX_NO_EXCEPTIONS);
            EXPECT_EQ(env.open(home.bytes()), EMFILE);
            EXPECT_EQ(log.text(), ""); // Berkeley DB did not come to try it
        }
        EXPECT_EQ(contentOf(home.path()), before);
        limitDescriptors(Tables + 17);
        BDBEnv env(Tables + 1, DB_CXX_NO_EXCEPTIONS);
        ASSERT_EQ(env.open(home.bytes()), 0);
        for (int i = 0; i < Tables; ++i)
            EXPECT_EQ(rowOf(openedIndex(env, i), nullptr, "key"), "value") << i;
    });
    EXPECT_EQ(restarted.waitForExit(), 0);
}

TEST(BDBEnvOpen, WantsDescriptorsForNoMoreFilesThanCanBeOpenAtATime)
{
    constexpr int Capacity = 4; // one slot is never used
    const TempDir home;
    ChildProcess child([&](const auto&) {
        for (int round = 0; round < 4; ++round) { // more files than one environment can have open
            BDBEnv env(Capacity, DB_CXX_NO_EXCEPTIONS);
            ASSERT_EQ(env.open(home.bytes()), 0);
            for (int i = 0; i < Capacity - 1; ++i)
                EXPECT_EQ(putRow(openedIndex(env, round * Capacity + i), nullptr, "key", "value"), 0);
        }
        limitDescriptors(Capacity - 1 + 16);
        {
            BDBEnv env(Capacity, DB_CXX_NO_EXCEPTIONS);
            EXPECT_EQ(env.open(home.bytes()), EMFILE);
        }
        limitDescriptors(Capacity - 1 + 17);
        BDBEnv env(Capacity, DB_CXX_NO_EXCEPTIONS);
        EXPECT_EQ(env.open(home.bytes()), 0);
    });
    EXPECT_EQ(child.waitForExit(), 0);
}

} // namespace
