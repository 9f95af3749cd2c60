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
        EXPECT_FALSE(read(&error));
        return error;
    }

    bool read(std::string* error)
    {
        return Ctl::readBackup(Ctl::BackupParts(dir_.path()), Ctl::UnlistedCopy::Accepted, &files_, error);
    }

    fs::path log(std::uint32_t number) const { return files_.logs.at(number).path; }

    TempDir dir_;
    Ctl::BackupFiles files_;
};

} // namespace

TEST_F(ReadBackup, FindsDatabasesAndLogs)
{
    write("t", "abc");
    write("t_3f.db", "de");
    write("sub/t", "f");
    write("log.events", "g");
    write("log.0000000007", "1");
    write("log.0000000008", "22");
    std::string error;
    ASSERT_TRUE(read(&error)) << error;
    EXPECT_THAT(files_.databases, testing::ElementsAre(testing::Key("log.events"), testing::Key("sub/t"),
                                                       testing::Key("t"), testing::Key("t_3f.db")));
    EXPECT_EQ(files_.databases.at("sub/t").path, dir_.file("sub/t"));
    EXPECT_THAT(files_.logs, testing::ElementsAre(testing::Key(7U), testing::Key(8U)));
    EXPECT_EQ(log(7), dir_.file("log.0000000007"));
    EXPECT_THAT(files_.leftOut, testing::IsEmpty());
}

TEST_F(ReadBackup, AShippedLogFileTakesThePlaceOfTheOneInTheCopy)
{
    write("log.0000000001", "begin");
    write("__log__/log.0000000001", "begin and end");
    write("__log__/log.0000000002");
    std::string error;
    ASSERT_TRUE(read(&error)) << error;
    EXPECT_EQ(log(1), dir_.file("__log__/log.0000000001"));
    EXPECT_EQ(log(2), dir_.file("__log__/log.0000000002"));
}

TEST_F(ReadBackup, AShippedLogFileOfEqualLengthIsTheCompleteOne)
{
    // Log files have their full length from the start.
    write("log.0000000001", std::string("begin\0\0\0", 8));
    write("__log__/log.0000000001", "begin...");
    write("__log__/log.0000000001.del", "older...");
    std::string error;
    ASSERT_TRUE(read(&error)) << error;
    EXPECT_EQ(log(1), dir_.file("__log__/log.0000000001"));
}

TEST_F(ReadBackup, AMoveThatWasCutOffLeavesThePreviousCopyAsTheWholeOne)
{
    write("__log__/log.0000000001", "beg");
    write("__log__/log.0000000001.del", "begin and end");
    write("__log__/log.0000000002.del", "only this");
    std::string error;
    ASSERT_TRUE(read(&error)) << error;
    EXPECT_EQ(log(1), dir_.file("__log__/log.0000000001.del"));
    EXPECT_EQ(log(2), dir_.file("__log__/log.0000000002.del"));
}

TEST_F(ReadBackup, AMoveThatWasCutOffDoesNotTakeThePlaceOfTheFileInTheCopy)
{
    write("t");
    write("log.0000000001", "begin and more");
    write("__log__/log.0000000001", "beg");
    std::string error;
    ASSERT_TRUE(read(&error)) << error;
    EXPECT_EQ(log(1), dir_.file("log.0000000001"));
}

TEST_F(ReadBackup, LogFilesFromTheFirstOnAreEnoughByThemselves)
{
    write("__log__/log.0000000001");
    write("__log__/log.0000000002");
    std::string error;
    ASSERT_TRUE(read(&error)) << error;
    EXPECT_THAT(files_.databases, testing::IsEmpty());
    EXPECT_EQ(files_.logs.size(), 2U);
}

TEST_F(ReadBackup, RefusesLaterLogFilesWithoutDatabases)
{
    write("log.0000000005");
    EXPECT_EQ(refusal(), dir_.path() + " is not a backup: it contains no database files");
}

TEST_F(ReadBackup, RefusesShippedLogFilesWithoutThoseOfTheCopy)
{
    write("t");
    write("__log__/log.0000000005");
    EXPECT_EQ(refusal(), dir_.path() + " is not a backup: it contains only log files shipped after a copy");
    write("log.0000000004");
    std::string error;
    files_ = {};
    EXPECT_TRUE(read(&error)) << error;
}

TEST_F(ReadBackup, RefusesAnUnfinishedCopy)
{
    write("log.0000000001");
    write("BackupInProgress.tmp", "");
    EXPECT_EQ(refusal(), dir_.path() + " is unfinished: it contains BackupInProgress.tmp; wait for the running backup "
                                       "to complete, or make another one");
}

TEST_F(ReadBackup, RefusesACopyThatWasCutOffBeforeItsList)
{
    write("log.0000000001");
    write("BackupFiles.list.tmp", "");
    EXPECT_EQ(refusal(), dir_.path() + " is unfinished: it contains BackupFiles.list.tmp; wait for the running backup "
                                       "to complete, or make another one");
}

TEST_F(ReadBackup, RefusesACopyWithoutAListUnlessTold)
{
    write("t");
    write("log.0000000001");
    std::string error;
    EXPECT_FALSE(Ctl::readBackup(Ctl::BackupParts(dir_.path()), Ctl::UnlistedCopy::Refused, &files_, &error));
    EXPECT_EQ(error, dir_.path() + " has no BackupFiles.list, so missing files cannot be detected; --without-list "
                                   "restores the files that exist");
    files_ = {};
    EXPECT_TRUE(read(&error)) << error;
}

TEST_F(ReadBackup, NeedsNoListOfTheLogFromItsBeginning)
{
    write("__log__/log.0000000001");
    std::string error;
    EXPECT_TRUE(Ctl::readBackup(Ctl::BackupParts(dir_.path()), Ctl::UnlistedCopy::Refused, &files_, &error)) << error;
}

TEST_F(ReadBackup, TakesWhatTheListNames)
{
    write("sub/t", "abc");
    write("log.0000000004", "log");
    write("other", "x");
    write("log.0000000009", "y");
    write("__log__/log.0000000004", "log and more");
    write("__log__/log.0000000005");
    const BackupList list{.home = "/somewhere",
                          .firstLog = 4,
                          .lastLog = 4,
                          .lastLogSize = 3,
                          .files = {{"sub/t", {3, 1}}, {"log.0000000004", {3, 2}}}};
    write("BackupFiles.list", list.write());
    std::string error;
    ASSERT_TRUE(Ctl::readBackup(Ctl::BackupParts(dir_.path()), Ctl::UnlistedCopy::Refused, &files_, &error)) << error;
    EXPECT_THAT(files_.databases, testing::ElementsAre(testing::Key("sub/t")));
    EXPECT_EQ(files_.databases.at("sub/t").listed, list.files.at("sub/t"));
    EXPECT_THAT(files_.logs, testing::ElementsAre(testing::Key(4U), testing::Key(5U)));
    EXPECT_EQ(log(4), dir_.file("__log__/log.0000000004"));
    EXPECT_EQ(files_.logs.at(4).listed, list.files.at("log.0000000004")) << "the shipped one begins like the copy";
    EXPECT_FALSE(files_.logs.at(5).listed);
    EXPECT_THAT(files_.leftOut, testing::ElementsAre(testing::Key("log.0000000009"), testing::Key("other")));

    fs::remove(dir_.file("log.0000000004"));
    EXPECT_EQ(refusal(), dir_.path() + " is incomplete: log.0000000004 is missing");
}

TEST_F(ReadBackup, RefusesADirectoryWithoutLogs)
{
    write("readme.txt");
    write("log.1");
    write("log.00000000012");
    EXPECT_EQ(refusal(), dir_.path() + " is not a backup: it contains no log files");
}

TEST_F(ReadBackup, RefusesAGapInTheLogs)
{
    write("t");
    write("log.0000000001");
    write("__log__/log.0000000003");
    EXPECT_EQ(refusal(),
              dir_.path() +
                  " has a gap in its log: log.0000000002 is missing, and later log files cannot be applied without it");
}

TEST_F(ReadBackup, LogFilesBeforeACopyNeedNotExist)
{
    // The server was killed, or is still working, after shipping some of the files that the copy does not need.
    write("t", "abc");
    write("log.0000000007", "log");
    write("__log__/log.0000000003");
    write("__log__/log.0000000005");
    BackupList list{.home = "/somewhere",
                    .firstLog = 7,
                    .lastLog = 7,
                    .lastLogSize = 3,
                    .files = {{"t", {3, 1}}, {"log.0000000007", {3, 2}}}};
    write("BackupFiles.list", list.write());
    std::string error;
    ASSERT_TRUE(Ctl::readBackup(Ctl::BackupParts(dir_.path()), Ctl::UnlistedCopy::Refused, &files_, &error)) << error;
    EXPECT_THAT(files_.logs, testing::ElementsAre(testing::Key(7U)));
    EXPECT_THAT(files_.leftOut, testing::IsEmpty());

    list.firstLog = 5; // a file that it needs must exist somewhere
    write("BackupFiles.list", list.write());
    files_ = {};
    EXPECT_EQ(refusal(),
              dir_.path() +
                  " has a gap in its log: log.0000000006 is missing, and later log files cannot be applied without it");
}

TEST_F(ReadBackup, RefusesAnEmptyDirectory)
{
    EXPECT_EQ(refusal(), dir_.path() + " is not a backup: it contains no log files");
}

TEST_F(ReadBackup, RefusesWhatIsNoDirectory)
{
    std::string error;
    EXPECT_FALSE(Ctl::readBackup(Ctl::BackupParts(dir_.file("none")), Ctl::UnlistedCopy::Accepted, &files_, &error));
    EXPECT_EQ(error, dir_.file("none") + " is not a directory");
}
