#include "format/backupnames.h"

#include <gtest/gtest.h>

namespace {

TEST(BackupNames, LogFileHasTenDigits)
{
    EXPECT_EQ(BackupNames::logFile(1), "log.0000000001");
    EXPECT_EQ(BackupNames::logFile(42), "log.0000000042");
    EXPECT_EQ(BackupNames::logFile(4294967295), "log.4294967295");
}

TEST(BackupNames, LogNumberReadsWhatLogFileWrites)
{
    for (const std::uint32_t number : {0U, 1U, 42U, 1234567890U, 4294967295U})
        EXPECT_EQ(BackupNames::logNumber(BackupNames::logFile(number)), number);
}

TEST(BackupNames, OtherNamesAreNoLogFiles)
{
    for (const char* name :
         {"", "log.", "log.1", "log.000000001", "log.00000000001", "log.000000000a", "log.+000000001", "log.-000000001",
          "log. 000000001", "log.4294967296", "log.9999999999", "Log.0000000001", "log_0000000001",
          "log.0000000001.del", "xlog.0000000001", "log.0000000001x"})
        EXPECT_EQ(BackupNames::logNumber(name), std::nullopt) << name;
}

TEST(BackupNames, LogAndDigitsIsTakenForALogFileWhateverItsNumber)
{
    for (const char* name : {"log.0000000001", "log.0000000000", "log.9999999999", "log.5", "log.00000000050",
                             "log.99999999999", "log.123456789012345678901234567890"})
        EXPECT_TRUE(BackupNames::isTakenForLogFile(name)) << name;
    for (const char* name : {"", "log", "log.", "log.x", "log.0000000001x", "log.+000000001", "log. 1", "log.1 ",
                             "log.events", "log.0000000001.del", "Log.0000000001", "xlog.0000000001", "log_1"})
        EXPECT_FALSE(BackupNames::isTakenForLogFile(name)) << name;
}

TEST(BackupNames, ReservedAreTheBackupsOwnFilesAndItsDirectory)
{
    for (const char* name : {"BackupInProgress.tmp", "BackupFiles.list", "BackupFiles.list.tmp", "__log__"})
        EXPECT_TRUE(BackupNames::isReserved(name)) << name;
    for (const char* name : {"", "backupinprogress.tmp", "BackupInProgress.tmp2", "BackupFiles",
                             "BackupFiles.list.tmp2", "__log", "__log__x", "log.0000000001"})
        EXPECT_FALSE(BackupNames::isReserved(name)) << name;
}

TEST(BackupNames, ShippedLogFileMayBeThePreviousCopy)
{
    EXPECT_EQ(BackupNames::shippedLogNumber("log.0000000042"), 42U);
    EXPECT_EQ(BackupNames::shippedLogNumber("log.0000000042.del"), 42U);
    for (const char* name : {"log.0000000042.de", "log.0000000042.del.del", ".del", "log.4294967296.del", ""})
        EXPECT_EQ(BackupNames::shippedLogNumber(name), std::nullopt) << name;
}

TEST(BackupNames, TheListKeepsItsName)
{
    EXPECT_STREQ(BackupNames::ListFile, "BackupFiles.list");
    EXPECT_STREQ(BackupNames::UnfinishedListFile, "BackupFiles.list.tmp");
}

TEST(BackupNames, MarkerAndLogDirectoryAreWhatApplicationsExpect)
{
    EXPECT_STREQ(BackupNames::Marker, "BackupInProgress.tmp");
    EXPECT_STREQ(BackupNames::LogDirectory, "__log__");
}

} // namespace
