#ifndef QUORVA_TESTS_SERVER_RESTOREFIXTURE_H
#define QUORVA_TESTS_SERVER_RESTOREFIXTURE_H

#include "support/backupfixture.h"

class Restore : public BackupTest {
protected:
    /** Truncates a file to its first `bytes`. */
    static void cut(const std::string& file, std::uintmax_t bytes) { std::filesystem::resize_file(file, bytes); }

    std::string backup() const { return pathOf("backup"); }
    std::string shippedLog(int number) const { return backup() + "/__log__/" + logName(number); }
    std::string sourceLog(int number) const { return home() + '/' + logName(number); }

    /** One cycle of shipping, which moves the log files up to this number to the backup. */
    void shipUpTo(int number)
    {
        EXPECT_EQ(act("UpdateDbBackup", backup()), accepted());
        ASSERT_TRUE(waitUntil([&] { return !std::filesystem::exists(sourceLog(number)); })) << server_.logText();
    }
};

#endif
