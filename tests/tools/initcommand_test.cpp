#include "support/backupfixture.h"
#include "support/directorycontents.h"
#include "support/otheruser.h"
#include "support/procfs.h"
#include "toolfixture.h"

#include <filesystem>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::UnorderedElementsAre;

constexpr const char* Added = "log_set_config db_log_dsync off";
constexpr const char* RemovesLogs = "#quorva remove_unneeded_logs on";

class Init : public ToolTest {
protected:
    Init() : ToolTest({.arguments = {"-s", "20"}}) {}

    /** The tool without a server's address. */
    static ProgramRun init(std::vector<std::string> arguments)
    {
        arguments.insert(arguments.begin(), "init");
        return ::quorvactl(arguments);
    }

    static void expectDone(const std::vector<std::string>& arguments)
    {
        const ProgramRun run = init(arguments);
        EXPECT_EQ(run.status, Ok) << testing::PrintToString(arguments);
        EXPECT_EQ(run.output, "");
        EXPECT_EQ(run.error, "");
    }

    static void expectRefused(const std::vector<std::string>& arguments, const std::string& error,
                              int status = ErrorReply)
    {
        const ProgramRun run = init(arguments);
        EXPECT_EQ(run.status, status) << testing::PrintToString(arguments);
        EXPECT_EQ(run.output, "");
        EXPECT_EQ(run.error, "quorvactl: " + error + '\n');
    }

    static std::string read(const std::string& path)
    {
        std::ifstream file(path);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    static std::string config(const std::string& directory) { return read(directory + "/DB_CONFIG"); }

    static int mode(const std::string& path) { return static_cast<int>(fs::status(path).permissions()); }

    /** A statistic in the server's log that was printed after the environment was opened. */
    bool hasStatistic(const std::string& line) { return server_.waitForLog(line); }

    std::string complaintOfTables(const std::string& directory, const std::string& changes)
    {
        return directory + " is a directory for tables already; nothing was changed" + changes;
    }
};

} // namespace

TEST_F(Init, MakesADirectoryWhoseSettingsTheServerUses)
{
    const std::string shop = pathOf("new/shop");
    expectDone({shop});
    EXPECT_THAT(namesIn(shop), ElementsAre("DB_CONFIG"));
    createTable(tableIn(shop));
    EXPECT_TRUE(hasStatistic("80MB 8KB\tTotal cache size"));
    EXPECT_TRUE(hasStatistic("40Mb\tCurrent log file size"));
    int flags = -1;
    for (const auto& [descriptor, file] : ProcFs::descriptors(server_.pid())) {
        if (file == shop + "/log.0000000001")
            flags = ProcFs::descriptorFlags(server_.pid(), descriptor);
    }
    EXPECT_EQ(flags & (O_DSYNC | O_ACCMODE), O_RDWR);
    expectOutput({"put", shop + "|t", "h=S:a", "r=S:b"}, "");
    restartServer();
    expectOutput({"get", shop + "|t", "a", "b"}, "{\"h\":{\"S\":\"a\"},\"r\":{\"S\":\"b\"}}\n");
}

TEST_F(Init, TheDirectoryIsAsAccessibleAsTheServersFiles)
{
    const std::string shop = pathOf("new/shop");
    const ProgramRun run =
        runProgram("/bin/sh", {"-c", "umask 022; exec \"$@\"", "sh", QUORVACTL_BINARY, "init", shop});
    EXPECT_EQ(run.status, Ok) << run.error;
    EXPECT_EQ(mode(shop), 0750);
    EXPECT_EQ(mode(shop + "/DB_CONFIG"), 0644);
    EXPECT_EQ(mode(pathOf("new")), 0755);

    const std::string made = makeDirectory("made");
    fs::permissions(made, fs::perms::owner_all);
    fs::create_directory(made + "/lost+found"); // of a new file system
    expectDone({made});
    EXPECT_EQ(mode(made), 0700) << "somebody chose it";
    EXPECT_THAT(namesIn(made), UnorderedElementsAre("DB_CONFIG", "lost+found"));
}

TEST_F(Init, TakesTheSizeOfTheCache)
{
    const std::string shop = pathOf("shop");
    expectDone({shop, "--cache", "20M"});
    EXPECT_THAT(config(shop), HasSubstr("\nset_cachesize 0 20971520 1\n"));
    createTable(tableIn(shop));
    EXPECT_TRUE(hasStatistic("25MB 8KB\tTotal cache size"));
    expectRefused({pathOf("other"), "--cache", "64MB"},
                  "\"64MB\" is no size; it is a number of bytes, or a number followed by K, M or G", Usage);
    EXPECT_FALSE(fs::exists(pathOf("other")));
}

TEST_F(Init, ASecondTimeThereIsNothingToDo)
{
    const std::string shop = pathOf("shop");
    expectDone({shop});
    const auto before = contentsOf(shop);
    expectDone({shop});
    expectDone({shop + '/', "--cache", "64M"});
    expectDone({shop, "--force"});
    EXPECT_EQ(contentsOf(shop), before);
    createTable(tableIn(shop));
    expectDone({shop}); // open in a server
}

TEST_F(Init, AddsNothingToADirectoryWithTablesUnlessForced)
{
    expectOutput({"put", table(), "h=S:a", "r=S:b"}, "");
    expectOutput({"delete-table", table()}, "closed " + home() + "; its files are still there\n");
    const auto before = contentsOf(home());
    const std::string forced = "\n  --force adds to " + home() + "/DB_CONFIG: ";
    expectRefused({home(), "--cache", "32M"},
                  complaintOfTables(home(), forced + Added + forced + "set_cachesize 0 33554432 1" + forced +
                                                "set_lg_max 41943040" + forced + RemovesLogs));
    EXPECT_EQ(contentsOf(home()), before);

    expectDone({home(), "--cache", "32M", "--force"});
    EXPECT_THAT(config(home()), HasSubstr("\nset_cachesize 0 33554432 1\n"));
    expectOutput({"get", table(), "a", "b"}, "{\"h\":{\"S\":\"a\"},\"r\":{\"S\":\"b\"}}\n");
}

TEST_F(Init, KeepsTheSettingsOfTheDirectory)
{
    const std::string shop = makeDirectory("shop");
    std::ofstream(shop + "/DB_CONFIG") << "set_cachesize 0 2097152 1\nset_lk_max_locks 5000\nset_lg_max 20971520\n";
    fs::permissions(shop + "/DB_CONFIG", fs::perms(0600));
    const auto before = contentsOf(shop);
    const std::string forced = "\n  --force adds to " + shop + "/DB_CONFIG: ";
    const std::string added = forced + Added + forced + RemovesLogs;
    expectRefused({shop}, complaintOfTables(shop, added));
    expectRefused({shop, "--cache", "3M"},
                  complaintOfTables(shop, added + "\n  --force replaces in " + shop +
                                              "/DB_CONFIG: set_cachesize 0 2097152 1 by set_cachesize 0 3145728 1"));
    EXPECT_EQ(contentsOf(shop), before);

    expectDone({shop, "--cache", "3M", "--force"});
    EXPECT_THAT(config(shop), testing::StartsWith("set_cachesize 0 3145728 1\n"
                                                  "set_lk_max_locks 5000\n"
                                                  "set_lg_max 20971520\n"
                                                  "# "));
    EXPECT_THAT(config(shop), testing::EndsWith(std::string("\n") + RemovesLogs + '\n'));
    EXPECT_EQ(mode(shop + "/DB_CONFIG"), 0600);
    createTable(tableIn(shop));
}

TEST_F(Init, DoesNotChangeTheSettingsOfAnOpenDirectory)
{
    const auto before = config(home());
    expectRefused({home(), "--force"}, home() + " is open in a server, or another command fills it");
    EXPECT_EQ(config(home()), before);
}

TEST_F(Init, LeavesOtherFilesAlone)
{
    const std::string shop = makeDirectory("shop");
    std::ofstream(shop + "/notes") << "mine\n";
    const auto before = contentsOf(shop);
    const std::string forced = "\n  --force adds to " + shop + "/DB_CONFIG: ";
    expectRefused({shop}, shop + " is not empty; nothing was changed" + forced + Added + forced +
                              "set_cachesize 0 67108864 1" + forced + "set_lg_max 41943040" + forced + RemovesLogs);
    EXPECT_EQ(contentsOf(shop), before);
    expectDone({shop, "--force"});
    EXPECT_THAT(namesIn(shop), UnorderedElementsAre("DB_CONFIG", "notes"));
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
    EXPECT_EQ(read(file), "mine\n");

    fs::create_symlink(pathOf("nowhere"), pathOf("link"));
    expectRefused({pathOf("link")}, pathOf("link") + " is a link that leads nowhere");
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
        expectRefused({backup, "--force"}, backup + " holds a backup\n  try: quorvactl restore, which makes a "
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
                                             " has not come to its end\n  try: the restore once more, or delete the "
                                             "directory");
    EXPECT_EQ(contentsOf(restored), before);
}

TEST_F(Init, ARestoredDirectoryTakesTheSettings)
{
    expectOutput({"put", table(), "h=S:a", "r=S:b"}, "");
    expectOutput({"backup", "start", table(), pathOf("backup"), "--wait"}, "");
    ASSERT_EQ(quorvactl({"backup", "stop", table()}).status, Ok);
    ASSERT_EQ(::quorvactl({"restore", pathOf("backup"), pathOf("restored")}).status, Ok);
    expectDone({pathOf("restored"), "--force"});
    expectOutput({"get", pathOf("restored|t"), "a", "b"}, "{\"h\":{\"S\":\"a\"},\"r\":{\"S\":\"b\"}}\n");
}
