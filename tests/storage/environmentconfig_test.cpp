// A DB_CONFIG that Berkeley DB must not read, and one that moves the files elsewhere.
#include "storage/environmentconfig.h"

#include "loglines.h"
#include "registryfixture.h"
#include "storage/environmentfiles.h"
#include "support/background.h"
#include "support/tempdir.h"

#include <gmock/gmock.h>

#include <sys/resource.h>
#include <sys/stat.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <future>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

namespace fs = std::filesystem;

class ConfigFile : public RegistryFixture {
protected:
    void write(const std::string& text) const { std::ofstream(config_, std::ios::binary) << text; }

    /** Opening the environment fails with `rc`, soon; the log lines in front of the one that says so. */
    std::vector<std::string> refusal(int rc)
    {
        LogCapture log(LogWarn);
        auto opening = inBackground([this] {
            EnvironmentUse use;
            return open(home_, &use);
        });
        if (opening.wait_for(std::chrono::seconds(30)) != std::future_status::ready) {
            ADD_FAILURE() << "the opening waits";
            std::_Exit(1); // the thread cannot be ended
        }
        EXPECT_EQ(opening.get(), 3);
        std::vector<std::string> lines = ownLines(log);
        const std::string home = home_.toStdString();
        EXPECT_THAT(lines, testing::Contains("[CRIT] bdb # Failed to open env path: " + home + " id env::" + home +
                                             " rc " + std::to_string(rc)));
        if (!lines.empty())
            lines.pop_back();
        return lines;
    }

    EnvironmentConfig read() const
    {
        EnvironmentConfig config;
        EXPECT_EQ(EnvironmentConfig::read(home_.toStdString(), &config), 0);
        return config;
    }

    const QByteArray home_ = makeHome();
    const fs::path path_ = home_.toStdString();
    const std::string config_ = path_ / "DB_CONFIG";
};

TEST_F(ConfigFile, ALineWithoutAValueIsRefused)
{
    for (const char* name : {"set_lg_dir", "db_log_dir", "set_data_dir", "add_data_dir", "db_data_dir",
                             "set_create_dir", "set_metadata_dir", "set_tmp_dir", "db_tmp_dir",
                             "set_intermediate_dir_mode", "set_cachesize", "set_flags", "log_set_config", "nonsense"}) {
        for (const char* blanks : {"", " ", "\t", " \r", "\r"}) {
            write(std::string("# a comment\n ") + name + blanks + '\n');
            EXPECT_THAT(refusal(EINVAL), ElementsAre("[ERROR] bdb # BDB: DB_CONFIG line 2: incorrect name-value pair"))
                << name << blanks;
        }
    }
    write("set_lg_dir"); // without a newline
    EXPECT_THAT(refusal(EINVAL), ElementsAre("[ERROR] bdb # BDB: DB_CONFIG line 1: incorrect name-value pair"));
}

TEST_F(ConfigFile, ALineThatBerkeleyDbWouldReadInTwoIsRefused)
{
    write('#' + std::string(254, 'a') + "set_lg_dir elsewhere\n");
    EXPECT_THAT(refusal(EINVAL), ElementsAre("[ERROR] bdb # BDB: DB_CONFIG line 1: incorrect name-value pair"));
    write('#' + std::string(253, 'a') + "\nset_lg_max 20971520\n");
    EXPECT_NE(openedEnv(home_), nullptr);
}

TEST_F(ConfigFile, OneThatIsNoTextOrTooLongIsRefused)
{
    write(std::string("# a\0b\n", 6));
    EXPECT_THAT(refusal(EINVAL), IsEmpty());
    std::string text;
    while (text.size() <= 65536)
        text += "# comments\n";
    write(text);
    EXPECT_THAT(refusal(EINVAL), IsEmpty());
}

TEST_F(ConfigFile, OneThatIsNotAFileIsRefusedImmediately)
{
    ASSERT_EQ(mkfifo(config_.c_str(), 0600), 0);
    EXPECT_THAT(refusal(EINVAL), IsEmpty());
    for (const char* target : {"/dev/zero", "/dev/null", "."}) {
        fs::remove(config_);
        fs::create_symlink(target, config_);
        EXPECT_THAT(refusal(EINVAL), IsEmpty()) << target;
    }
    fs::remove(config_);
    std::ofstream(path_ / "settings") << "set_lg_max 20971520\n";
    fs::create_symlink("settings", config_);
    EXPECT_NE(openedEnv(home_), nullptr);
}

TEST_F(ConfigFile, BelowItKeepsNobodyFromOpening)
{
    fs::create_directories(path_ / "sub/deeper");
    ASSERT_EQ(mkfifo((path_ / "sub/deeper/DB_CONFIG").c_str(), 0600), 0);
    std::ofstream(path_ / "sub/DB_CONFIG") << "set_lg_dir\n";
    auto opening = inBackground([this] { return openedEnv(home_); });
    if (opening.wait_for(std::chrono::seconds(30)) != std::future_status::ready) {
        ADD_FAILURE() << "the opening waits";
        std::_Exit(1);
    }
    EXPECT_NE(opening.get(), nullptr);
}

TEST_F(ConfigFile, WhatIsNamedLikeALogFileHasToBeOne)
{
    ASSERT_EQ(mkfifo((path_ / "log.0000000001").c_str(), 0600), 0);
    EXPECT_THAT(refusal(EINVAL), IsEmpty());
}

TEST_F(ConfigFile, WithoutItEverythingIsInTheHome)
{
    const EnvironmentConfig config = read();
    EXPECT_EQ(config.logDirectory, path_);
    EXPECT_THAT(config.dataDirectories, ElementsAre(path_));
    EXPECT_EQ(config.createDirectory, path_);
}

TEST_F(ConfigFile, SaysWhereTheFilesAre)
{
    write("# set_lg_dir not this\n\n  set_lg_dir old\nset_lg_dir\tlo gs\r\nset_lg_max 20971520\n"
          "set_data_dir /data\nadd_data_dir more\ndb_data_dir .\nset_create_dir more");
    const EnvironmentConfig config = read();
    EXPECT_EQ(config.logDirectory, path_ / "lo gs");
    EXPECT_THAT(config.dataDirectories, ElementsAre("/data", path_ / "more", path_ / "."));
    EXPECT_EQ(config.createDirectory, path_ / "more");
}

TEST_F(ConfigFile, TheServersOwnLinesAreReadAndBerkeleyDbSkipsIt)
{
    for (const char* text : {"", "# remove_unneeded_logs on\n", "#quorva remove_unneeded_logs off\n",
                             "#quorva remove_unneeded_logs on\n#quorva remove_unneeded_logs off\n"}) {
        write(text);
        EXPECT_FALSE(read().removesUnneededLogs) << text;
    }
    for (const char* text : {"#quorva remove_unneeded_logs on", " \t#quorva \tremove_unneeded_logs   on \r\n"}) {
        write(text);
        EXPECT_TRUE(read().removesUnneededLogs) << text;
    }
    write("#quorva prepare_log_files on");
    EXPECT_TRUE(read().preparesLogFiles);
    EXPECT_FALSE(read().removesUnneededLogs);
    EXPECT_NE(openedEnv(home_), nullptr);
    write("#quorva prepare_log_files on\n#quorva prepare_log_files off");
    EXPECT_FALSE(read().preparesLogFiles);
}

TEST_F(ConfigFile, AMarkedLineThatIsNotTheServersIsRefused)
{
    for (const char* line : {"#quorva", "#quorva remove_unneeded_logs", "#quorva remove_unneeded_logs yes",
                             "#quorva remove_unneeded_log on", "#quorva remove_unneeded_logs on off"}) {
        write(std::string("# mine\n") + line + '\n');
        EXPECT_THAT(refusal(EINVAL), ElementsAre("[ERROR] bdb # BDB: DB_CONFIG line 2: incorrect name-value pair"))
            << line;
    }
}

TEST(EnvironmentFiles, LooksBelowAsDeepAsDirectoriesGo)
{
    const TempDir top;
    fs::path directory = top.path();
    for (int i = 0; i < 100; ++i)
        directory /= "d";
    fs::create_directories(directory);
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
    const rlimit few{64, before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &few), 0);
    int found = -1;
    EXPECT_EQ(EnvironmentFiles::countDatabases(top.path(), 10, &found), 0);
    EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
    EXPECT_EQ(found, 0);
}

} // namespace
