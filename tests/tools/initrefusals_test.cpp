#include "initfixture.h"
#include "support/directorycontents.h"
#include "support/otheruser.h"

#include <filesystem>
#include <fstream>

#include <sys/stat.h>

namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;

} // namespace

TEST_F(Init, DoesNotChangeTheSettingsOfAnOpenDirectory)
{
    const auto before = config(home());
    expectRefused({home(), "--force"}, home() + " is open in a server, or another command fills it");
    EXPECT_EQ(config(home()), before);
}

TEST_F(Init, NamesThatTablesCannotUseAreRefused)
{
    struct Row {
        const char* name;
        const char* reason;
    };
    const Row rows[] = {
        {"shop|orders", "a \"|\" separates the directory from the table in a TableName"},
        {"__log__", "BackupInProgress.tmp, BackupFiles.list (also with .tmp or .new), BackupLog.hold (also with .new) "
                    "and __log__ belong to backups"},
        {"log.0000000001", "DB_CONFIG, \"log.\" with digits, and names that begin with \"__db\" belong to Berkeley DB"},
        {"DB_CONFIG/", "DB_CONFIG, \"log.\" with digits, and names that begin with \"__db\" belong to Berkeley DB"},
        {"t_3f.db", "names that end like \"_3f.db\" belong to the data files of tables"},
    };
    const auto before = namesIn(pathOf("."));
    for (const Row& row : rows) {
        const std::string directory = pathOf(row.name);
        const std::string advice = directory.find('|') == std::string::npos
                                       ? std::string()
                                       : "\n  try: quorvactl init '" + pathOf("shop") + '\'';
        expectRefused({directory, "--force"},
                      "no directory for tables can be called " + directory + ": " + row.reason + advice);
    }
    expectRefused({""}, "the directory's name is empty");
    EXPECT_EQ(namesIn(pathOf(".")), before);
}

TEST_F(Init, ADirectoryBelowAnotherOneForTablesIsRefused)
{
    const std::string shop = pathOf("shop");
    expectDone({shop});
    for (const std::string& above : {home(), shop}) {
        const std::string below = above + "/sub/deeper";
        expectRefused({below, "--force"}, below + " lies in " + above +
                                              ", which is a directory for tables itself\n  try: a directory beside it");
        EXPECT_FALSE(fs::exists(above + "/sub"));
    }
}

TEST_F(Init, WhatIsNoDirectoryIsRefused)
{
    const std::string file = writeFile("file", "mine\n");
    expectRefused({file, "--force"}, file + " is not a directory");
    expectRefused({file + "/shop"}, "cannot make " + file + "/shop: Not a directory");
    EXPECT_EQ(readFile(file), "mine\n");

    fs::create_symlink(pathOf("nowhere"), pathOf("link"));
    expectRefused({pathOf("link")}, pathOf("link") + " is a dangling link");
    fs::create_directory(pathOf("nowhere"));
    expectDone({pathOf("link")});
    EXPECT_THAT(namesIn(pathOf("nowhere")), ElementsAre("DB_CONFIG"));

    const std::string shop = makeDirectory("shop");
    ASSERT_EQ(mkfifo((shop + "/DB_CONFIG").c_str(), 0600), 0);
    expectRefused({shop, "--force"}, shop + "/DB_CONFIG is not a regular file");
}

TEST_F(Init, ADirectoryThatCannotBeMadeOrWrittenIsRefused)
{
    SKIP_UNLESS_ROOT();
    const auto initAsOther = [](const std::string& directory) {
        return runProgram("/usr/bin/setpriv", {"--reuid", std::to_string(OtherUser), "--clear-groups", QUORVACTL_BINARY,
                                               "init", directory});
    };
    fs::permissions(server_.directory(), fs::perms(0755));
    const std::string shop = makeDirectory("shop");
    fs::permissions(shop, fs::perms(0755));
    ProgramRun run = initAsOther(shop + "/sub");
    EXPECT_EQ(run.status, ErrorReply);
    EXPECT_EQ(run.error, "quorvactl: cannot make " + shop + "/sub: Permission denied\n");
    run = initAsOther(shop);
    EXPECT_EQ(run.status, ErrorReply);
    EXPECT_EQ(run.error, "quorvactl: cannot write " + shop + "/DB_CONFIG: Permission denied\n");
    fs::permissions(shop, fs::perms(0700));
    run = initAsOther(shop);
    EXPECT_EQ(run.status, ErrorReply);
    EXPECT_EQ(run.error, "quorvactl: cannot read " + shop + ": Permission denied\n");
    EXPECT_THAT(namesIn(shop), testing::IsEmpty());
}

TEST_F(Init, BackupsAndUnfinishedRestoresAreRefused)
{
    for (const char* name : {"BackupInProgress.tmp", "BackupFiles.list", "BackupFiles.list.tmp"}) {
        const std::string backup = makeDirectory(std::string("backup-") + name);
        std::ofstream(backup + '/' + name).flush();
        expectRefused({backup, "--force"}, backup + " contains a backup\n  try: quorvactl restore, which makes a "
                                                    "directory for tables from it");
        EXPECT_THAT(namesIn(backup), ElementsAre(name));
    }
    const std::string restored = makeDirectory("restored");
    std::ofstream(restored + "/DB_CONFIG")
        << "# A restore to this directory has not come to its end. This file keeps servers from opening it.\n"
           "# To restore once more, do so to the same target. Otherwise delete the directory.\n"
           "unfinished_quorvactl_restore yes\n";
    const auto before = contentsOf(restored);
    expectRefused({restored, "--force"}, "a restore to " + restored +
                                             " has not finished\n  try: the restore once more, or delete the "
                                             "directory");
    EXPECT_EQ(contentsOf(restored), before);
}
