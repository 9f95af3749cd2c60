#ifndef QUORVA_TESTS_TOOLS_BACKUPCOMMANDFIXTURE_H
#define QUORVA_TESTS_TOOLS_BACKUPCOMMANDFIXTURE_H

#include "support/backupfixture.h"
#include "tools/complaints.h"

inline std::string anotherRuns(const std::string& failed)
{
    return Complaints::errorReply(
        failed, Complaints::ConditionFailed,
        "quorvactl backup stop, if another backup is running; otherwise the server's log, which has the cause");
}

inline std::string markerStays(const std::string& target)
{
    return "quorvactl: " + markerIn(target) +
           " is left in place: the server may have begun the copy\n  try: once no server is writing to the directory, "
           "remove this "
           "file and start the backup again\n";
}

class BackupCommand : public BackupTest {
protected:
    explicit BackupCommand(ServerProcess::Setup setup = {}) : BackupTest(std::move(setup)) {}

    std::string table() const { return tableName().toStdString(); }

    ProgramRun backup(std::vector<std::string> arguments) const
    {
        arguments.insert(arguments.begin(), "backup");
        return quorvactl(arguments);
    }

    /** What the server reports about the backup of the table's environment. */
    QVariantMap backupState()
    {
        QVariantMap reply = request("Quorva_1.DescribeBackup", {{"TableName", tableName()}});
        const QVariantMap backup = reply.take("Backup").toMap();
        EXPECT_EQ(reply, okReply());
        return backup;
    }

    static void expectQuietSuccess(const ProgramRun& run)
    {
        EXPECT_EQ(run.status, 0);
        EXPECT_EQ(run.output, "");
        EXPECT_EQ(run.error, "");
    }
};

#endif
