#include "tools/backupfiles.h"

#include "support/tempdir.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

namespace fs = std::filesystem;

namespace {

class ReadBackup : public testing::Test {
protected:
    void write(const std::string& name, const std::string& text = "x")
    {
        fs::create_directories(fs::path(dir_.file(name)).parent_path());
        std::ofstream(dir_.file(name), std::ios::binary) << text;
    }

    std::string refusal()
    {
        std::string error;
        EXPECT_FALSE(Ctl::readBackup(dir_.path(), &files_, &error));
        return error;
    }

    TempDir dir_;
    Ctl::BackupFiles files_;
};

} // namespace

TEST_F(ReadBackup, FindsDatabasesAndLogs)
{
    write("t", "abc");
    write("t_3f.db", "de");
    write("log.0000000007", "1");
    write("log.0000000008", "22");
    std::string error;
    ASSERT_TRUE(Ctl::readBackup(dir_.path(), &files_, &error)) << error;
    EXPECT_THAT(files_.databases, testing::UnorderedElementsAre(dir_.file("t"), dir_.file("t_3f.db")));
    EXPECT_THAT(files_.logs, testing::ElementsAre(testing::Pair(7U, dir_.file("log.0000000007")),
                                                  testing::Pair(8U, dir_.file("log.0000000008"))));
    EXPECT_EQ(files_.bytes(), 8U);
}

TEST_F(ReadBackup, AShippedLogFileTakesThePlaceOfTheOneInTheCopy)
{
    write("log.0000000001", "begin");
    write("__log__/log.0000000001", "begin and end");
    write("__log__/log.0000000002");
    std::string error;
    ASSERT_TRUE(Ctl::readBackup(dir_.path(), &files_, &error)) << error;
    EXPECT_EQ(files_.logs.at(1), dir_.file("__log__/log.0000000001"));
    EXPECT_EQ(files_.logs.at(2), dir_.file("__log__/log.0000000002"));
}

TEST_F(ReadBackup, AShippedLogFileOfEqualLengthIsTheCompleteOne)
{
    // Log files have their whole length from the start.
    write("log.0000000001", std::string("begin\0\0\0", 8));
    write("__log__/log.0000000001", "begin...");
    write("__log__/log.0000000001.del", "older...");
    std::string error;
    ASSERT_TRUE(Ctl::readBackup(dir_.path(), &files_, &error)) << error;
    EXPECT_EQ(files_.logs.at(1), dir_.file("__log__/log.0000000001"));
}

TEST_F(ReadBackup, AMoveThatWasCutOffLeavesThePreviousCopyAsTheWholeOne)
{
    write("__log__/log.0000000001", "beg");
    write("__log__/log.0000000001.del", "begin and end");
    write("__log__/log.0000000002.del", "only this");
    std::string error;
    ASSERT_TRUE(Ctl::readBackup(dir_.path(), &files_, &error)) << error;
    EXPECT_EQ(files_.logs.at(1), dir_.file("__log__/log.0000000001.del"));
    EXPECT_EQ(files_.logs.at(2), dir_.file("__log__/log.0000000002.del"));
}

TEST_F(ReadBackup, AMoveThatWasCutOffDoesNotTakeThePlaceOfTheFileInTheCopy)
{
    write("t");
    write("log.0000000001", "begin and more");
    write("__log__/log.0000000001", "beg");
    std::string error;
    ASSERT_TRUE(Ctl::readBackup(dir_.path(), &files_, &error)) << error;
    EXPECT_EQ(files_.logs.at(1), dir_.file("log.0000000001"));
}

TEST_F(ReadBackup, LogFilesFromTheFirstOnAreEnoughByThemselves)
{
    write("__log__/log.0000000001");
    write("__log__/log.0000000002");
    std::string error;
    ASSERT_TRUE(Ctl::readBackup(dir_.path(), &files_, &error)) << error;
    EXPECT_THAT(files_.databases, testing::IsEmpty());
    EXPECT_EQ(files_.logs.size(), 2U);
}

TEST_F(ReadBackup, RefusesLaterLogFilesWithoutDatabases)
{
    write("log.0000000005");
    EXPECT_EQ(refusal(), dir_.path() + " is no backup: it holds no database files");
}

TEST_F(ReadBackup, RefusesShippedLogFilesWithoutThoseOfTheCopy)
{
    write("t");
    write("__log__/log.0000000005");
    EXPECT_EQ(refusal(), dir_.path() + " is no backup: it holds only log files that followed a copy");
    write("log.0000000004");
    std::string error;
    files_ = {};
    EXPECT_TRUE(Ctl::readBackup(dir_.path(), &files_, &error)) << error;
}

TEST_F(ReadBackup, RefusesAnUnfinishedCopy)
{
    write("log.0000000001");
    write("BackupInProgress.tmp", "");
    EXPECT_EQ(refusal(), dir_.path() + " is unfinished: BackupInProgress.tmp is there, the copy was not completed");
}

TEST_F(ReadBackup, RefusesADirectoryWithoutLogs)
{
    write("readme.txt");
    write("log.1");
    write("log.00000000012");
    EXPECT_EQ(refusal(), dir_.path() + " is no backup: it holds no log files");
}

TEST_F(ReadBackup, RefusesAGapInTheLogs)
{
    write("t");
    write("log.0000000001");
    write("__log__/log.0000000003");
    EXPECT_EQ(refusal(), dir_.path() + " has a gap: log.0000000002 is missing, and what follows cannot be applied "
                                       "without it");
}

TEST_F(ReadBackup, RefusesAnEmptyDirectory)
{
    EXPECT_EQ(refusal(), dir_.path() + " is no backup: it holds no log files");
}

TEST_F(ReadBackup, RefusesWhatIsNoDirectory)
{
    std::string error;
    EXPECT_FALSE(Ctl::readBackup(dir_.file("none"), &files_, &error));
    EXPECT_EQ(error, dir_.file("none") + " is not a directory");
}
