#include "support/backupfixture.h"

#include <optional>
#include <string>

namespace {

namespace fs = std::filesystem;
using testing::IsEmpty;

/** Whether this user may mount file systems in a mount namespace of its own. */
bool mayMount()
{
    return runProgram("/bin/sh", {"-c", "unshare --user --map-root-user --mount sh -c 'mount -t tmpfs none /mnt'"})
               .status == 0;
}

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

class BackupToDisk : public testing::Test {
protected:
    void SetUp() override
    {
        if (!mayMount())
            GTEST_SKIP() << "this system lets nobody mount a disk for himself";
    }

    /** Starts the server, fills an environment and begins to back it up to the disk, which `further` has prepared. */
    void begin(const char* action, const std::string& further)
    {
        server_.emplace(further);
        ASSERT_TRUE(server_->start());
        server_->fill();
        EXPECT_EQ(server_->act(action).value("__rc"), QVariant(200LL));
    }

    void expectError(const std::string& text)
    {
        EXPECT_THAT(server_->logText(), testing::ContainsRegex("\\[ERROR\\] bdb [0-9]+ " + text + "\n"));
    }

    std::optional<ServerWithDisk> server_;
};

} // namespace

TEST_F(BackupToDisk, AFullDiskFailsTheCopyAndTheServerGoesOn)
{
    ASSERT_NO_FATAL_FAILURE(begin("DbBackup", "touch BackupInProgress.tmp"));
    EXPECT_TRUE(server_->waitForLog("Disabling Database Backup"));
    expectError("Dbenv backup failed rc 28");
    EXPECT_TRUE(fs::exists(server_->seen("BackupInProgress.tmp")));
    EXPECT_EQ(server_->request("Scan", {{"TableName", server_->table()}, {"Count", true}}).value("__rc"),
              QVariant(200LL));
}

TEST_F(BackupToDisk, AFullDiskEndsTheShippingAndTheLogFileStays)
{
    ASSERT_NO_FATAL_FAILURE(begin("UpdateDbBackup", "mkdir __log__"));
    EXPECT_TRUE(server_->waitForLog("Disabling Database Backup"));
    expectError("Error in moving log file " + server_->home() + '/' + logName(1));
    expectError("log backup failed for " + server_->target());
    EXPECT_TRUE(fs::exists(server_->home() + '/' + logName(1)));
    EXPECT_THAT(namesIn(server_->seen("__log__")), IsEmpty()) << "half a file is of no use to anybody";
}

TEST_F(BackupToDisk, AReadOnlyDiskFailsTheCopy)
{
    ASSERT_NO_FATAL_FAILURE(begin("DbBackup", "touch BackupInProgress.tmp && mount -o remount,ro none ."));
    EXPECT_TRUE(server_->waitForLog("Disabling Database Backup"));
    expectError("Dbenv backup failed rc 30");
    EXPECT_TRUE(fs::exists(server_->seen("BackupInProgress.tmp")));
}

TEST_F(BackupToDisk, AReadOnlyDiskLeavesTheLogFilesWhereTheyAre)
{
    ASSERT_NO_FATAL_FAILURE(begin("UpdateDbBackup", "mount -o remount,ro none ."));
    EXPECT_TRUE(server_->waitForLog("Done BDBHotBackupThread.backupLog"));
    expectError("Error in creating dir " + server_->target() + "/__log__");
    EXPECT_EQ(server_->logText().find("Disabling"), std::string::npos);
    EXPECT_TRUE(fs::exists(server_->home() + '/' + logName(1)));
}
