#include "storage/databasefiles.h"

#include "childprocess.h"
#include "support/tempenv.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <sys/resource.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;

constexpr uid_t Nobody = 65534;
constexpr std::size_t Enough = 1000000;

/** The directory of an environment that has been closed. */
class UnopenedDirectory : public testing::Test {
protected:
    UnopenedDirectory()
    {
        (void)env_.index("orders");
        (void)env_.index("sub/orders");
        env_.close();
        fs::permissions(env_.path(), fs::perms(0755));
        fs::permissions(env_.file("sub"), fs::perms(0755));
        for (const char* name : {"orders", "sub/orders"})
            fs::permissions(env_.file(name), fs::perms(0644));
    }

    int find(std::size_t most = Enough)
    {
        DatabaseFiles::ByName files;
        const int rc = DatabaseFiles::findUnopened(env_.path(), most, &files, &unreadable_);
        names_.clear();
        for (const auto& [name, path] : files)
            names_.push_back(name);
        return rc;
    }

    TempEnv env_;
    std::vector<std::string> names_;
    int unreadable_ = 0;
};

TEST_F(UnopenedDirectory, AllItsDatabasesAreFound)
{
    EXPECT_EQ(find(), 0);
    EXPECT_THAT(names_, ElementsAre("orders", "sub/orders"));
    EXPECT_EQ(unreadable_, 0);
}

TEST_F(UnopenedDirectory, WhatCannotBeReadIsCounted)
{
    (void)std::ofstream(env_.file("secret"));
    fs::permissions(env_.file("secret"), fs::perms::none);
    fs::permissions(env_.file("sub"), fs::perms::none);
    ChildProcess child([&](const auto&) {
        if (geteuid() == 0) {
            ASSERT_EQ(setuid(Nobody), 0);
        }
        EXPECT_EQ(find(), 0);
        EXPECT_THAT(names_, ElementsAre("orders"));
        EXPECT_EQ(unreadable_, 2);
    });
    EXPECT_EQ(child.waitForExit(), 0);
}

TEST_F(UnopenedDirectory, ThatCannotBeReadItselfIsAnError)
{
    fs::permissions(env_.path(), fs::perms(0300));
    ChildProcess child([&](const auto&) {
        if (geteuid() == 0) {
            ASSERT_EQ(setuid(Nobody), 0);
        }
        EXPECT_EQ(find(), EACCES);
    });
    EXPECT_EQ(child.waitForExit(), 0);
    int unreadable = 0;
    DatabaseFiles::ByName files;
    EXPECT_EQ(DatabaseFiles::findUnopened(env_.file("orders"), Enough, &files, &unreadable), ENOTDIR);
    EXPECT_EQ(DatabaseFiles::findUnopened(env_.file("missing"), Enough, &files, &unreadable), ENOENT);
}

TEST_F(UnopenedDirectory, MoreEntriesThanTheLimitAreAnError)
{
    for (int i = 0; i < 10; ++i)
        (void)std::ofstream(env_.file("text" + std::to_string(i)));
    const std::size_t entries = 10 + 1 + 1 + 1 + 1; // the two databases, their directory, the log
    EXPECT_EQ(find(entries), 0);
    EXPECT_EQ(find(entries - 1), E2BIG);
}

TEST_F(UnopenedDirectory, DeepDirectoriesNeedNoMoreDescriptorsThanFlatOnes)
{
    fs::path deep = env_.path();
    for (int i = 0; i < 500; ++i)
        deep /= "d";
    fs::create_directories(deep);
    fs::copy_file(env_.file("orders"), deep / "orders");
    ChildProcess child([&](const auto&) {
        const rlimit few{40, 40};
        ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &few), 0);
        EXPECT_EQ(find(), 0);
        EXPECT_EQ(names_.size(), 3U);
        EXPECT_EQ(unreadable_, 0);
    });
    EXPECT_EQ(child.waitForExit(), 0);
}

TEST_F(UnopenedDirectory, WithoutDescriptorsNothingCountsAsUnreadable)
{
    ChildProcess child([&](const auto&) {
        rlimit most{};
        ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &most), 0);
        for (const rlim_t spare : {1, 0}) { // none for the files, or not even for the directory
            const int next = ::dup(STDIN_FILENO);
            ASSERT_GE(next, 0);
            ASSERT_EQ(::close(next), 0);
            const rlimit few{static_cast<rlim_t>(next) + spare, most.rlim_max};
            ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &few), 0);
            EXPECT_EQ(find(), EMFILE);
        }
    });
    EXPECT_EQ(child.waitForExit(), 0);
}

} // namespace
