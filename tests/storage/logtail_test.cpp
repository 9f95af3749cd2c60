#include "storage/logtail.h"

#include "storage/bdbtxn.h"
#include "support/files.h"
#include "support/tempenv.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>

TEST(FlushedLogPosition, MovesOnWithEveryWriteAndTheFilesHoldAllBeforeIt)
{
    TempEnv env;
    LogPosition first;
    ASSERT_EQ(LogTail::flushedPosition(env.get(), &first), 0);
    EXPECT_EQ(first.file, 1U);
    env.put("t.db", 1, 400); // fits in one page, so it is in the log in one piece
    LogPosition second;
    ASSERT_EQ(LogTail::flushedPosition(env.get(), &second), 0);
    EXPECT_EQ(second.file, 1U);
    EXPECT_GT(second.offset, first.offset + 400);
    const std::string written = readFile(env.file("log.0000000001")).substr(first.offset, second.offset - first.offset);
    EXPECT_NE(written.find(std::string(400, 'x')), std::string::npos);
}

TEST(CopyLogRange, CopiesExactlyTheBytesBetweenThePositions)
{
    TempEnv env;
    env.put("t.db", 1, 5000);
    LogPosition from;
    ASSERT_EQ(LogTail::flushedPosition(env.get(), &from), 0);
    env.put("t.db", 2, 7000);
    LogPosition to;
    ASSERT_EQ(LogTail::flushedPosition(env.get(), &to), 0);
    const TempDir target;
    ASSERT_EQ(LogTail::copyRange(env.get(), target.bytes(), from, to), 0);
    const std::string original = readFile(env.file("log.0000000001"));
    const std::string copy = readFile(target.file("log.0000000001"));
    ASSERT_EQ(copy.size(), to.offset);
    EXPECT_EQ(copy.substr(from.offset), original.substr(from.offset, to.offset - from.offset));
    EXPECT_EQ(copy.substr(0, from.offset), std::string(from.offset, '\0')) << "nothing in front of it";
}

TEST(CopyLogRange, GoesAcrossLogFiles)
{
    TempEnv env;
    LogPosition from;
    ASSERT_EQ(LogTail::flushedPosition(env.get(), &from), 0);
    for (int i = 0; !std::filesystem::exists(env.file("log.0000000003")); ++i)
        env.put("t.db", i, 1'000'000);
    LogPosition to;
    ASSERT_EQ(LogTail::flushedPosition(env.get(), &to), 0);
    ASSERT_EQ(to.file, 3U);
    const TempDir target;
    ASSERT_EQ(LogTail::copyRange(env.get(), target.bytes(), from, to), 0);
    EXPECT_EQ(readFile(target.file("log.0000000001")).substr(from.offset),
              readFile(env.file("log.0000000001")).substr(from.offset));
    EXPECT_EQ(readFile(target.file("log.0000000002")), readFile(env.file("log.0000000002")));
    EXPECT_EQ(readFile(target.file("log.0000000003")), readFile(env.file("log.0000000003")).substr(0, to.offset));
}

TEST(CopyLogRange, AMissingTargetIsAnError)
{
    TempEnv env;
    env.put("t.db", 1, 100);
    LogPosition to;
    ASSERT_EQ(LogTail::flushedPosition(env.get(), &to), 0);
    EXPECT_EQ(LogTail::copyRange(env.get(), QByteArray::fromStdString(env.file("none")), LogPosition{1, 0}, to),
              ENOENT);
}

TEST(FirstLogFile, IsTheOldestThatTheEnvironmentStillHas)
{
    TempEnv env;
    std::uint32_t first = 0;
    ASSERT_EQ(env->txn_checkpoint(0, 0, DB_FORCE), 0);
    ASSERT_EQ(LogTail::firstFile(env.get(), &first), 0);
    EXPECT_EQ(first, 1U);

    LogPosition position;
    for (int i = 0; position.file < 3; ++i) {
        env.put("t.db", i, 1'000'000);
        ASSERT_EQ(LogTail::flushedPosition(env.get(), &position), 0);
    }
    ASSERT_EQ(LogTail::firstFile(env.get(), &first), 0);
    EXPECT_EQ(first, 1U);

    ASSERT_EQ(env->txn_checkpoint(0, 0, DB_FORCE), 0);
    char** removed = nullptr;
    ASSERT_EQ(env->log_archive(&removed, DB_ARCH_REMOVE), 0);
    std::free(removed);
    ASSERT_EQ(LogTail::firstFile(env.get(), &first), 0);
    EXPECT_EQ(first, 3U);
}

TEST(FirstNeededLogFile, IsTheOneAfterThoseThatTheLatestCheckpointMadeUnneeded)
{
    TempEnv env;
    LogPosition position;
    for (int i = 0; position.file < 3; ++i) {
        env.put("t.db", i, 1'000'000);
        ASSERT_EQ(LogTail::flushedPosition(env.get(), &position), 0);
    }
    ASSERT_EQ(env->txn_checkpoint(0, 0, DB_FORCE), 0);
    std::uint32_t number = 0;
    ASSERT_EQ(LogTail::firstNeededFile(env.get(), &number), 0);
    EXPECT_EQ(number, 3U) << "though the first two are still there";
    ASSERT_EQ(LogTail::firstFile(env.get(), &number), 0);
    EXPECT_EQ(number, 1U);
}

TEST(FirstNeededLogFile, IsTheFirstOneWhenNoneIsUnneeded)
{
    TempEnv env;
    ASSERT_EQ(env->txn_checkpoint(0, 0, DB_FORCE), 0);
    std::uint32_t number = 0;
    ASSERT_EQ(LogTail::firstNeededFile(env.get(), &number), 0);
    EXPECT_EQ(number, 1U);
}

TEST(LogTail, WhileTheLogIsEmptyNoFileIsFound)
{
    const TempDir home;
    BDBEnv env(16, DB_CXX_NO_EXCEPTIONS);
    env.set_errcall(nullptr);
    // Not opened as by the server, whose environments write a checkpoint immediately.
    ASSERT_EQ(env.DbEnv::open(home.path().c_str(),
                              DB_CREATE | DB_RECOVER | DB_INIT_LOG | DB_INIT_MPOOL | DB_INIT_TXN | DB_PRIVATE, 0),
              0);
    std::uint32_t number = 0;
    EXPECT_EQ(LogTail::firstFile(&env, &number), DB_NOTFOUND);
    EXPECT_EQ(LogTail::firstNeededFile(&env, &number), DB_NOTFOUND);
}
