#include "initfixture.h"
#include "support/directorycontents.h"
#include "support/procfs.h"

#include <filesystem>
#include <fstream>

#include <fcntl.h>

namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::UnorderedElementsAre;

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
                  "\"64MB\" is not a size; use a number of bytes, or a number followed by K, M or G", Usage);
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
                                                "set_lg_max 41943040" + forced + PreparesLogs + forced + RemovesLogs));
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
    const std::string added = forced + Added + forced + PreparesLogs + forced + RemovesLogs;
    expectRefused({shop}, complaintOfTables(shop, added));
    expectRefused({shop, "--cache", "3M"},
                  complaintOfTables(shop, added + "\n  --force replaces in " + shop +
                                              "/DB_CONFIG: set_cachesize 0 2097152 1 with set_cachesize 0 3145728 1"));
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

TEST_F(Init, LeavesOtherFilesAlone)
{
    const std::string shop = makeDirectory("shop");
    std::ofstream(shop + "/notes") << "mine\n";
    const auto before = contentsOf(shop);
    const std::string forced = "\n  --force adds to " + shop + "/DB_CONFIG: ";
    expectRefused({shop}, shop + " is not empty; nothing was changed" + forced + Added + forced +
                              "set_cachesize 0 67108864 1" + forced + "set_lg_max 41943040" + forced + PreparesLogs +
                              forced + RemovesLogs);
    EXPECT_EQ(contentsOf(shop), before);
    expectDone({shop, "--force"});
    EXPECT_THAT(namesIn(shop), UnorderedElementsAre("DB_CONFIG", "notes"));
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
