#include "base/directorylock.h"
#include "support/tempdir.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <utility>

namespace fs = std::filesystem;

namespace {

using Base::DirectoryLock;

class DirectoryLockTest : public testing::Test {
protected:
    const TempDir temporary_;
    const fs::path directory_ = temporary_.makeDirectory("directory");
};

TEST_F(DirectoryLockTest, KeepsOutOthersUntilItEnds)
{
    {
        DirectoryLock lock;
        ASSERT_EQ(lock.lock(directory_), 0);
        for (const auto kind : {DirectoryLock::Exclusive, DirectoryLock::Shared}) {
            DirectoryLock other;
            EXPECT_EQ(other.lock(directory_, kind), EWOULDBLOCK);
        }
        DirectoryLock elsewhere;
        EXPECT_EQ(elsewhere.lock(temporary_.path()), 0);
    }
    DirectoryLock next;
    EXPECT_EQ(next.lock(directory_), 0);
    EXPECT_TRUE(fs::is_empty(directory_));
}

TEST_F(DirectoryLockTest, HoldsTheDirectoryUnderEveryPath)
{
    fs::create_directory_symlink(directory_, temporary_.file("link"));
    DirectoryLock lock;
    ASSERT_EQ(lock.lock(temporary_.file("link")), 0);
    DirectoryLock other;
    EXPECT_EQ(other.lock(directory_ / ".." / "directory"), EWOULDBLOCK);
}

TEST_F(DirectoryLockTest, SharedOnesStandSideBySide)
{
    DirectoryLock first;
    DirectoryLock second;
    EXPECT_EQ(first.lock(directory_, DirectoryLock::Shared), 0);
    EXPECT_EQ(second.lock(directory_, DirectoryLock::Shared), 0);
    DirectoryLock exclusive;
    EXPECT_EQ(exclusive.lock(directory_), EWOULDBLOCK);
}

TEST_F(DirectoryLockTest, WhatIsNoDirectoryCannotBeHeld)
{
    std::ofstream(temporary_.file("file")) << "x";
    DirectoryLock missing;
    EXPECT_EQ(missing.lock(temporary_.file("missing")), ENOENT);
    EXPECT_FALSE(missing.isAt(temporary_.file("missing")));
    DirectoryLock file;
    EXPECT_EQ(file.lock(temporary_.file("file")), ENOTDIR);
    EXPECT_FALSE(file.isAt(temporary_.file("file")));
    EXPECT_FALSE(fs::exists(temporary_.file("missing")));
}

TEST_F(DirectoryLockTest, FollowsADirectoryThatIsRenamed)
{
    DirectoryLock lock;
    ASSERT_EQ(lock.lock(directory_), 0);
    EXPECT_TRUE(lock.isAt(directory_));
    const fs::path renamed = temporary_.file("renamed");
    fs::rename(directory_, renamed);
    EXPECT_TRUE(lock.isAt(renamed));
    EXPECT_FALSE(lock.isAt(directory_)) << "there is none";
    fs::create_directory(directory_);
    EXPECT_FALSE(lock.isAt(directory_)) << "it is another one";
    DirectoryLock other;
    EXPECT_EQ(other.lock(renamed), EWOULDBLOCK);
}

TEST_F(DirectoryLockTest, IsNotAtALinkThatWasSwitched)
{
    const fs::path link = temporary_.file("link");
    fs::create_directory_symlink(directory_, link);
    DirectoryLock lock;
    ASSERT_EQ(lock.lock(link), 0);
    EXPECT_TRUE(lock.isAt(link));
    EXPECT_TRUE(lock.isAt(directory_));
    fs::remove(link);
    fs::create_directory_symlink(temporary_.makeDirectory("other"), link);
    EXPECT_FALSE(lock.isAt(link));
    EXPECT_TRUE(lock.isAt(directory_));
}

TEST_F(DirectoryLockTest, IsNowhereBeforeItHoldsOne)
{
    const DirectoryLock lock;
    struct stat status {};
    EXPECT_FALSE(lock.is(status));
    EXPECT_FALSE(lock.isAt(directory_));
}

TEST_F(DirectoryLockTest, MovesWithWhatItHolds)
{
    DirectoryLock first;
    ASSERT_EQ(first.lock(directory_), 0);
    const DirectoryLock second(std::move(first));
    EXPECT_TRUE(second.isAt(directory_));
    EXPECT_FALSE(first.isAt(directory_)); // NOLINT(bugprone-use-after-move): it is what is tested
    DirectoryLock other;
    EXPECT_EQ(other.lock(directory_), EWOULDBLOCK);
}

TEST_F(DirectoryLockTest, AssignmentReleasesTheFormerOneImmediately)
{
    const fs::path formerDirectory = temporary_.makeDirectory("former");
    DirectoryLock target;
    DirectoryLock source;
    ASSERT_EQ(target.lock(formerDirectory), 0);
    ASSERT_EQ(source.lock(directory_), 0);
    target = std::move(source);
    EXPECT_TRUE(target.isAt(directory_));
    EXPECT_FALSE(source.isAt(directory_)); // NOLINT(bugprone-use-after-move): it is what is tested
    DirectoryLock former;
    EXPECT_EQ(former.lock(formerDirectory), 0);
    DirectoryLock other;
    EXPECT_EQ(other.lock(directory_), EWOULDBLOCK);
}

} // namespace
