#include "support/backupfixture.h"

namespace {

namespace fs = std::filesystem;
using testing::IsEmpty;

/** Whether this user may mount file systems in a mount namespace of its own. */
bool mayMount()
{
    return runProgram("/bin/sh", {"-c", "unshare --user --map-root-user --mount sh -c 'mount -t tmpfs none /mnt'"})
               .status == 0;
}

class BackupToDisk : public testing::Test {
protected:
    void SetUp() override
    {
        if (!mayMount())
            GTEST_SKIP() << "this system lets nobody mount a disk for himself";
    }
};

/** A server that sees a disk of 4 MB at `target`, in its own mount namespace. */
class ServerWithDisk : public TempDir, public ServerProcess {
public:
    using TempDir::makeDirectory;

    explicit ServerWithDisk(const std::string& further)
        : ServerProcess({.wrapper = {"/bin/sh", "-c",
                                     "exec unshare --user --map-root-user --mount sh -c '"
                                     "mount -t tmpfs -o size=4m none \"$0\" && cd \"$0\" && " +
                                         further + " && cd / && exec \"$@\"' \"$@\"",
                                     "sh", makeDirectory("target")}})
    {
        makeDirectory("env");
    }

    std::string target() const { return file("target"); }
    std::string home() const { return file("env"); }
    QString table() const { return QString::fromStdString(home()) + "|t"; }

    /** The path of a file in the target as the server sees it. */
    std::string seen(const std::string& path = {}) const
    {
        return "/proc/" + std::to_string(pid()) + "/root" + target() + '/' + path;
    }

    /** Writes until there are two log files, then forces a checkpoint, after which the first is no longer needed. */
    void fill()
    {
        const QVariantMap schema{{"TableName", table()}, {"KeySchema", keySchema()}};
        EXPECT_EQ(request("CreateTable", schema).value("__rc"), QVariant(200LL));
        for (int i = 0; !fs::exists(home() + '/' + logName(2)); ++i) {
            const QVariantMap item{
                {"h", textValue("k")}, {"r", textValue(QString::number(i))}, {"v", textValue(QString(400'000, 'v'))}};
            ASSERT_EQ(request("PutItem", {{"TableName", table()}, {"Item", item}}).value("__rc"), QVariant(200LL));
        }
        EXPECT_EQ(request("DeleteTable", {{"TableName", table()}}), okReply());
        (void)act("FlushDB");
        EXPECT_TRUE(waitUntil([this] {
            const std::string text = logText();
            return text.find("Done txn_checkpoint", text.find("Done txn_checkpoint") + 1) != std::string::npos;
        }));
    }

    QVariantMap act(const char* action)
    {
        return request("UpdateTable",
                       {{"TableName", table()},
                        {"ProvisionedThroughput", QVariantMap{{action, QString::fromStdString(target())}}}});
    }
};

} // namespace

TEST_F(BackupToDisk, AFullDiskFailsTheCopyAndTheServerGoesOn)
{
    ServerWithDisk server("touch BackupInProgress.tmp");
    ASSERT_TRUE(server.start());
    server.fill();
    EXPECT_EQ(server.act("DbBackup").value("__rc"), QVariant(200LL));
    EXPECT_TRUE(server.waitForLog("Disabling Database Backup"));
    EXPECT_THAT(server.logText(), testing::ContainsRegex("\\[ERROR\\] bdb [0-9]+ Dbenv backup failed rc 28\n"));
    EXPECT_TRUE(fs::exists(server.seen("BackupInProgress.tmp")));
    EXPECT_EQ(server.request("Scan", {{"TableName", server.table()}, {"Count", true}}).value("__rc"), QVariant(200LL));
}

TEST_F(BackupToDisk, AFullDiskEndsTheShippingAndTheLogFileStays)
{
    ServerWithDisk server("mkdir __log__");
    ASSERT_TRUE(server.start());
    server.fill();
    EXPECT_EQ(server.act("UpdateDbBackup").value("__rc"), QVariant(200LL));
    EXPECT_TRUE(server.waitForLog("Disabling Database Backup"));
    EXPECT_THAT(server.logText(), testing::ContainsRegex("\\[ERROR\\] bdb [0-9]+ Error in moving log file " +
                                                         server.home() + '/' + logName(1) + "\n"));
    EXPECT_THAT(server.logText(),
                testing::ContainsRegex("\\[ERROR\\] bdb [0-9]+ log backup failed for " + server.target() + "\n"));
    EXPECT_TRUE(fs::exists(server.home() + '/' + logName(1)));
    EXPECT_THAT(namesIn(server.seen("__log__")), IsEmpty()) << "half a file is of no use to anybody";
}

TEST_F(BackupToDisk, AReadOnlyDiskFailsTheCopy)
{
    ServerWithDisk server("touch BackupInProgress.tmp && mount -o remount,ro none .");
    ASSERT_TRUE(server.start());
    server.fill();
    EXPECT_EQ(server.act("DbBackup").value("__rc"), QVariant(200LL));
    EXPECT_TRUE(server.waitForLog("Disabling Database Backup"));
    EXPECT_THAT(server.logText(), testing::ContainsRegex("\\[ERROR\\] bdb [0-9]+ Dbenv backup failed rc 30\n"));
    EXPECT_TRUE(fs::exists(server.seen("BackupInProgress.tmp")));
}

TEST_F(BackupToDisk, AReadOnlyDiskLeavesTheLogFilesWhereTheyAre)
{
    ServerWithDisk server("mount -o remount,ro none .");
    ASSERT_TRUE(server.start());
    server.fill();
    EXPECT_EQ(server.act("UpdateDbBackup").value("__rc"), QVariant(200LL));
    EXPECT_TRUE(server.waitForLog("Done BDBHotBackupThread.backupLog"));
    EXPECT_THAT(server.logText(), testing::ContainsRegex("\\[ERROR\\] bdb [0-9]+ Error in creating dir " +
                                                         server.target() + "/__log__\n"));
    EXPECT_EQ(server.logText().find("Disabling"), std::string::npos);
    EXPECT_TRUE(fs::exists(server.home() + '/' + logName(1)));
}
