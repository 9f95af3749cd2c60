#ifndef QUORVA_TESTS_SUPPORT_SERVERWITHDISK_H
#define QUORVA_TESTS_SUPPORT_SERVERWITHDISK_H

#include "support/backupfixture.h"

#include <filesystem>
#include <string>

/** Whether this user may mount file systems in a mount namespace of its own. */
inline bool mayMount()
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
        for (int i = 0; !std::filesystem::exists(home() + '/' + logName(2)); ++i) {
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

#endif
