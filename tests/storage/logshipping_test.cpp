#include "storage/logshipping.h"

#include "support/logcapture.h"
#include "support/tempdir.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>

namespace fs = std::filesystem;

namespace {

void write(const std::string& path, const std::string& text)
{
    std::ofstream(path, std::ios::binary) << text;
}

/** The content of a file; nothing when it does not exist. */
std::optional<std::string> read(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    if (!file)
        return std::nullopt;
    return std::string(std::istreambuf_iterator<char>(file), {});
}

QByteArray bytes(const std::string& text)
{
    return QByteArray::fromStdString(text);
}

class MoveFile : public testing::Test {
protected:
    int move() const { return LogShipping::moveFile(bytes(from_), bytes(to_)); }

    const TempDir directory_;
    const std::string from_ = directory_.file("from");
    const std::string to_ = directory_.file("to");
};

} // namespace

TEST_F(MoveFile, MovesToANewName)
{
    write(from_, "text");
    EXPECT_EQ(move(), 0);
    EXPECT_EQ(read(to_), "text");
    EXPECT_FALSE(fs::exists(from_));
    EXPECT_FALSE(fs::exists(to_ + ".del"));
}

TEST_F(MoveFile, ReplacesAnOlderCopyAndLeavesNoSafetyFile)
{
    write(from_, "new");
    write(to_, "old");
    EXPECT_EQ(move(), 0);
    EXPECT_EQ(read(to_), "new");
    EXPECT_FALSE(fs::exists(to_ + ".del"));
    EXPECT_FALSE(fs::exists(from_));
}

TEST_F(MoveFile, AFailedCopyKeepsTheOlderCopyUnderItsSafetyName)
{
    fs::create_directory(from_); // cannot be copied as a file
    write(to_, "old");
    EXPECT_EQ(move(), 2);
    EXPECT_EQ(read(to_ + ".del"), "old");
    EXPECT_FALSE(fs::exists(to_));
    EXPECT_TRUE(fs::exists(from_));
}

TEST_F(MoveFile, AMissingSourceIsAFailure)
{
    EXPECT_EQ(move(), 2);
    EXPECT_FALSE(fs::exists(to_));
}

TEST_F(MoveFile, AMissingDirectoryIsAFailureThatKeepsTheSource)
{
    write(from_, "text");
    EXPECT_EQ(LogShipping::moveFile(bytes(from_), bytes(directory_.file("none/to"))), 2);
    EXPECT_EQ(read(from_), "text");
}

TEST_F(MoveFile, AMoveThatWasCutOffWhileItCopiedIsTakenUpAgain)
{
    write(from_, "whole");
    write(to_, "wh");
    write(to_ + ".del", "older");
    EXPECT_EQ(move(), 0);
    EXPECT_EQ(read(to_), "whole");
    EXPECT_FALSE(fs::exists(to_ + ".del"));
    EXPECT_FALSE(fs::exists(from_));
}

TEST_F(MoveFile, KeepsTheOnlyWholeCopyWhenItFailsASecondTime)
{
    fs::create_directory(from_);
    write(to_, "wh");
    write(to_ + ".del", "older");
    EXPECT_EQ(move(), 2);
    EXPECT_EQ(read(to_ + ".del"), "older");
}

TEST(BackupLog, MakesTheLogDirectoryAndMovesAll)
{
    const TempDir dir;
    const std::string target = dir.makeDirectory("target");
    write(dir.file("log.0000000001"), "one");
    write(dir.file("log.0000000002"), "two");
    const LogCapture log;
    EXPECT_EQ(
        LogShipping::backupLog(bytes(target), {bytes(dir.file("log.0000000001")), bytes(dir.file("log.0000000002"))}),
        0);
    EXPECT_EQ(read(target + "/__log__/log.0000000001"), "one");
    EXPECT_EQ(read(target + "/__log__/log.0000000002"), "two");
    EXPECT_FALSE(fs::exists(dir.file("log.0000000001")));
    EXPECT_FALSE(fs::exists(dir.file("log.0000000002")));
    EXPECT_EQ(log.text(), "");
}

TEST(BackupLog, ADirectoryThatCannotBeMadeCountsAsDone)
{
    const TempDir dir;
    write(dir.file("log.0000000001"), "one");
    const LogCapture log;
    EXPECT_EQ(LogShipping::backupLog(bytes(dir.file("none")), {bytes(dir.file("log.0000000001"))}), 0);
    EXPECT_THAT(log.lines(), testing::ElementsAre(testing::MatchesRegex(
                                 "\\[ERROR\\] bdb [0-9]+ Error in creating dir " + dir.file("none") + "/__log__")));
    EXPECT_EQ(read(dir.file("log.0000000001")), "one");
}

TEST(BackupLog, TheFirstFailureEndsTheCycle)
{
    const TempDir dir;
    const std::string target = dir.makeDirectory("target");
    write(dir.file("log.0000000002"), "two");
    const LogCapture log;
    EXPECT_EQ(
        LogShipping::backupLog(bytes(target), {bytes(dir.file("log.0000000001")), bytes(dir.file("log.0000000002"))}),
        2);
    EXPECT_THAT(log.lines(), testing::ElementsAre(testing::MatchesRegex(
                                 "\\[ERROR\\] bdb [0-9]+ Error in moving log file " + dir.file("log.0000000001"))));
    EXPECT_EQ(read(dir.file("log.0000000002")), "two") << "the rest waits for the next cycle";
    EXPECT_FALSE(fs::exists(target + "/__log__/log.0000000002"));
}

TEST(BackupLog, WhatIsNoDirectoryButHasItsNameFailsForTheFirstFile)
{
    const TempDir dir;
    const std::string target = dir.makeDirectory("target");
    write(target + "/__log__", "in the way");
    write(dir.file("log.0000000001"), "one");
    const LogCapture log;
    EXPECT_EQ(LogShipping::backupLog(bytes(target), {bytes(dir.file("log.0000000001"))}), 2);
    EXPECT_THAT(log.lines(), testing::ElementsAre(testing::MatchesRegex(
                                 "\\[ERROR\\] bdb [0-9]+ Error in moving log file " + dir.file("log.0000000001"))));
    EXPECT_EQ(read(dir.file("log.0000000001")), "one");
    EXPECT_EQ(read(target + "/__log__"), "in the way");
}

TEST(BackupLog, AFileThatIsThereAlreadyIsReplaced)
{
    const TempDir dir;
    const std::string target = dir.makeDirectory("target");
    dir.makeDirectory("target/__log__");
    write(target + "/__log__/log.0000000001", "old");
    write(target + "/__log__/log.0000000007", "another");
    write(dir.file("log.0000000001"), "new");
    EXPECT_EQ(LogShipping::backupLog(bytes(target), {bytes(dir.file("log.0000000001"))}), 0);
    EXPECT_EQ(read(target + "/__log__/log.0000000001"), "new");
    EXPECT_EQ(read(target + "/__log__/log.0000000007"), "another");
    EXPECT_FALSE(fs::exists(target + "/__log__/log.0000000001.del"));
    EXPECT_FALSE(fs::exists(dir.file("log.0000000001")));
}

TEST(RemoveLogs, LeavesAllThatAreNoLogFiles)
{
    const TempDir dir;
    dir.makeDirectory("__log__");
    for (const char* name : {"log.0000000006", "log.0000000009", "log.7", "t_07.db", "BackupInProgress.tmp",
                             "__log__/log.0000000007", "__log__/log.0000000013.del", "__log__/notes"})
        write(dir.file(name), "x");
    EXPECT_EQ(LogShipping::removeLogs(dir.bytes()), 0);
    for (const char* name : {"log.7", "t_07.db", "BackupInProgress.tmp", "__log__/notes"})
        EXPECT_TRUE(fs::exists(dir.file(name))) << name;
    for (const char* name :
         {"log.0000000006", "log.0000000009", "__log__/log.0000000007", "__log__/log.0000000013.del"})
        EXPECT_FALSE(fs::exists(dir.file(name))) << name;
}

TEST(RemoveLogs, ADirectoryWithoutShippedLogsIsFine)
{
    const TempDir dir;
    write(dir.file("log.0000000007"), "x");
    EXPECT_EQ(LogShipping::removeLogs(dir.bytes()), 0);
    EXPECT_FALSE(fs::exists(dir.file("log.0000000007")));
}

TEST(RemoveLogs, WhatCannotBeRemovedIsAnError)
{
    const TempDir dir;
    dir.makeDirectory("__log__/log.0000000001/full");
    EXPECT_EQ(LogShipping::removeLogs(dir.bytes()), ENOTEMPTY);
}
