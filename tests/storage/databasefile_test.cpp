#include "storage/databasefile.h"

#include "support/tempenv.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>

#include <sys/stat.h>

namespace fs = std::filesystem;

namespace {

class DatabaseFileTest : public testing::Test {
protected:
    void SetUp() override
    {
        (void)env_.index("orders");
        (void)env_.index("other");
        ASSERT_EQ(env_->txn_checkpoint(0, 0, DB_FORCE), 0); // writes the pages
        std::ofstream(env_.file("text")) << std::string(4096, 'x');
        std::ofstream(env_.file("short")) << "x";
        ASSERT_EQ(::mkfifo(env_.file("fifo").c_str(), 0600), 0);
    }

    TempEnv env_;
};

TEST_F(DatabaseFileTest, ADatabaseIsKnownByItsFirstPage)
{
    EXPECT_TRUE(DatabaseFile::isDatabase(env_.file("orders")));
    for (const char* name : {"text", "short", "fifo", "missing", "log.0000000001", "."})
        EXPECT_FALSE(DatabaseFile::isDatabase(env_.file(name))) << name;
}

TEST_F(DatabaseFileTest, ADatabaseOfAnEnvironmentCarriesAPositionInItsLog)
{
    std::optional<DatabasePage::Start> start;
    EXPECT_EQ(DatabaseFile::readStart(env_.file("orders"), &start), 0);
    ASSERT_TRUE(start);
    EXPECT_EQ(start->logFile, 1U);
    EXPECT_EQ(start->page, 0U);
}

TEST_F(DatabaseFileTest, WhatIsNoDatabaseHasNoStart)
{
    std::optional<DatabasePage::Start> start = DatabasePage::Start();
    EXPECT_EQ(DatabaseFile::readStart(env_.file("text"), &start), 0);
    EXPECT_FALSE(start);
    EXPECT_EQ(DatabaseFile::readStart(env_.file("missing"), &start), ENOENT);
    EXPECT_FALSE(start);
}

TEST_F(DatabaseFileTest, CopiesHaveTheIdentityOfTheirDatabase)
{
    const std::string id = DatabaseFile::id(env_.file("orders"));
    EXPECT_EQ(id.size(), 20U);
    fs::copy_file(env_.file("orders"), env_.file("copy"));
    EXPECT_EQ(DatabaseFile::id(env_.file("copy")), id);
    EXPECT_NE(DatabaseFile::id(env_.file("other")), id);
    EXPECT_EQ(DatabaseFile::id(env_.file("short")), "");
    EXPECT_EQ(DatabaseFile::id(env_.file("missing")), "");
}

} // namespace
