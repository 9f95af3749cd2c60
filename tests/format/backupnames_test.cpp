#include "format/backupnames.h"

#include <gtest/gtest.h>

namespace {

TEST(BackupNames, RefusedAreTheBackupsOwnFilesAndItsDirectory)
{
    for (const char* name : {"BackupInProgress.tmp", "BackupFiles.list", "BackupFiles.list.tmp", "BackupFiles.list.new",
                             "BackupLog.hold", "BackupLog.hold.new", "__log__"})
        EXPECT_STREQ(BackupNames::refusal(name), "BackupInProgress.tmp, BackupFiles.list (also with .tmp or .new), "
                                                 "BackupLog.hold (also with .new) and __log__ belong to backups")
            << name;
    for (const char* name : {"", "backupinprogress.tmp", "BackupInProgress.tmp2", "BackupFiles",
                             "BackupFiles.list.tmp2", "__log", "__log__x", "log.0000000001"})
        EXPECT_EQ(BackupNames::refusal(name), nullptr) << name;
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
    EXPECT_STREQ(BackupNames::ListDraft, "BackupFiles.list.new");
    EXPECT_STREQ(BackupNames::HoldFile, "BackupLog.hold");
    EXPECT_STREQ(BackupNames::HoldDraft, "BackupLog.hold.new");
}

TEST(BackupNames, MarkerAndLogDirectoryAreWhatApplicationsExpect)
{
    EXPECT_STREQ(BackupNames::Marker, "BackupInProgress.tmp");
    EXPECT_STREQ(BackupNames::LogDirectory, "__log__");
}

} // namespace
