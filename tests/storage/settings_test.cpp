#include "storage/settings.h"

#include <db_cxx.h>

#include <gtest/gtest.h>

namespace {

TEST(Settings, CommitsAreSynchronousUnlessChanged)
{
    EXPECT_EQ(Settings::txnCommitFlags(), static_cast<std::uint32_t>(DB_TXN_SYNC));
    EXPECT_EQ(Settings::txnCommitFlags(), 8U);
    Settings::setTxnCommitFlags(DB_TXN_NOSYNC);
    EXPECT_EQ(Settings::txnCommitFlags(), 1U);
    Settings::setTxnCommitFlags(DB_TXN_SYNC);
}

TEST(Settings, StatisticsAreOffUnlessChanged)
{
    EXPECT_EQ(Settings::statLevel(), 0);
    Settings::setStatLevel(20);
    EXPECT_EQ(Settings::statLevel(), 20);
    Settings::setStatLevel(0);
}

TEST(Settings, BackupIsNotDisabledUnlessChanged)
{
    EXPECT_EQ(Settings::backupDisabled(), 0);
    Settings::setBackupDisabled(1);
    EXPECT_EQ(Settings::backupDisabled(), 1);
    Settings::setBackupDisabled(0);
}

} // namespace
