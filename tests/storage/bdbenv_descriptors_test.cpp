#include "storage/bdbenv.h"

#include "base/directorylock.h"
#include "childprocess.h"
#include "descriptorlimit.h"
#include "loglines.h"
#include "rows.h"
#include "storage/openindex.h"
#include "support/directorycontents.h"
#include "support/logcapture.h"
#include "support/tempdir.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <filesystem>

namespace {

constexpr int Tables = 30;

BDBIndex* openedIndex(BDBEnv& env, int number)
{
    BDBObjTable connection(4);
    connection.setEnv(&env);
    BDBIndex* index = nullptr;
    const QByteArray file = "table" + QByteArray::number(number);
    EXPECT_EQ(Registry::openIndex(&connection, QString::fromUtf8("db::" + file + ":data"), file, "data", &index), 0);
    return index;
}

TEST(BDBEnvOpen, IsRefusedImmediatelyWithoutADescriptorForEachDatabaseFileAndCanBeRepeated)
{
    const TempDir home;
    ChildProcess writer([&](const ChildProcess::Teller& teller) {
        BDBEnv env(Tables + 1, DB_CXX_NO_EXCEPTIONS);
        ASSERT_EQ(env.open(home.bytes()), 0);
        for (int i = 0; i < Tables; ++i)
            EXPECT_EQ(putRow(openedIndex(env, i), nullptr, "key", "value"), 0);
        teller.waitForKill();
    });
    writer.killWhenReady();

    ChildProcess restarted([&](const auto&) {
        const auto before = contentsOf(home.path());
        // Recovery opens every file that was written. One descriptor is for the directory and 16 are for the rest.
        for (const int left : {Tables - 5, Tables + 1, Tables + 16}) {
            limitDescriptors(left);
            LogCapture log;
            BDBEnv env(Tables + 1, DB_CXX_NO_EXCEPTIONS);
            EXPECT_EQ(env.open(home.bytes()), EMFILE);
            EXPECT_EQ(log.text(), ""); // Berkeley DB did not even try
        }
        EXPECT_EQ(contentsOf(home.path()), before);
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

/** Two environments of a child process; one of them opens files in many directories. */
class DeepName : public testing::Test {
protected:
    static constexpr int Depth = 60;
    static constexpr int KeptFree = 16;
    static constexpr int Slack = 8; // for log files, which the environments' own threads open

    static QByteArray deep(const QByteArray& component, const QByteArray& file)
    {
        return (component + '/').repeated(Depth) + file;
    }

    static int open(BDBEnv& env, const QByteArray& file, BDBIndex** index)
    {
        BDBObjTable connection(4);
        connection.setEnv(&env);
        return Registry::openIndex(&connection, QString::fromUtf8("db::" + file + ":data"), file, "data", index);
    }

    static void expectRefused(BDBEnv& env, const QByteArray& file)
    {
        LogCapture log(LogWarn);
        BDBIndex* index = nullptr;
        EXPECT_EQ(open(env, file, &index), 12);
        EXPECT_EQ(index, nullptr);
        EXPECT_THAT(ownLines(log), testing::ElementsAre("[CRIT] bdb # Failed to open DB dbpath: " + file.toStdString() +
                                                        " dbname data rc " + std::to_string(EMFILE) + " flags 289"));
    }

    static void expectWorks(BDBEnv& env, const QByteArray& file)
    {
        BDBIndex* index = nullptr;
        ASSERT_EQ(open(env, file, &index), 0) << file.toStdString();
        EXPECT_EQ(putRow(index, nullptr, "key", "value"), 0);
        EXPECT_EQ(rowOf(index, nullptr, "key"), "value");
    }

    const TempDir home_;
    const TempDir neighbour_;
};

TEST_F(DeepName, IsRefusedWithoutADescriptorForEachOfItsDirectories)
{
    ChildProcess child([&](const auto&) {
        BDBEnv env(8, DB_CXX_NO_EXCEPTIONS);
        BDBEnv neighbour(8, DB_CXX_NO_EXCEPTIONS);
        ASSERT_EQ(env.open(home_.bytes()), 0);
        ASSERT_EQ(neighbour.open(neighbour_.bytes()), 0);
        for (const int left : {KeptFree + Slack, Depth - 1, Depth + KeptFree - 1}) {
            limitDescriptors(left);
            expectRefused(env, deep("made", "t"));
            EXPECT_FALSE(std::filesystem::exists(home_.path() + "/made")) << left;
        }
        limitDescriptors(KeptFree + Slack);
        expectWorks(neighbour, "t"); // the descriptors that it needs are still free
        expectWorks(env, "t");
        limitDescriptors(Depth + KeptFree + Slack);
        expectWorks(env, deep("made", "t"));
    });
    EXPECT_EQ(child.waitForExit(), 0);
}

TEST_F(DeepName, IsRefusedAsWellWhereItsDirectoriesAreThere)
{
    std::filesystem::create_directories(home_.path() + '/' + deep("there", "").toStdString());
    ChildProcess child([&](const auto&) {
        BDBEnv env(8, DB_CXX_NO_EXCEPTIONS);
        ASSERT_EQ(env.open(home_.bytes()), 0);
        limitDescriptors(Depth + KeptFree - 1);
        expectRefused(env, deep("there", "t"));
        EXPECT_EQ(Base::DirectoryLock().lock(home_.path() + "/there"), 0); // it holds no lock
        limitDescriptors(Depth + KeptFree + Slack);
        expectWorks(env, deep("there", "t"));
        limitDescriptors(KeptFree + Slack);
        expectWorks(env, deep("there", "u")); // its directories are already locked
    });
    EXPECT_EQ(child.waitForExit(), 0);
}

} // namespace
