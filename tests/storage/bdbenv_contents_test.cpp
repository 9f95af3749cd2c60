// What a directory may contain to be opened as an environment, and a file to be opened as a database.
#include "environmenthome.h"

#include "support/background.h"

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <future>
#include <string>

#include <sys/stat.h>

namespace {

namespace fs = std::filesystem;

TEST_F(EnvironmentHome, FilesOfTheLoaderAreWelcome)
{
    const QByteArray home = makeHome();
    {
        BDBIndex loaded(nullptr, DB_CXX_NO_EXCEPTIONS); // as Berkeley DB's loader makes them: without an environment
        ASSERT_EQ(loaded.open((home + "/orders").constData(), "data", DB_BTREE, DB_CREATE), 0);
        ASSERT_EQ(putRow(&loaded, nullptr, "key", "loaded"), 0);
    }
    EXPECT_EQ(row(home, "orders"), "loaded");
}

TEST_F(EnvironmentHome, WithoutTheLogOfItsDatabasesItIsNoEnvironment)
{
    const QByteArray home = makeHome();
    const QByteArray kept = makeHome("kept");
    put(home, "orders", "1");
    close(home);
    fs::rename(home.toStdString() + "/log.0000000001", kept.toStdString() + "/log.0000000001");
    expectRefused(home, EBUSY);
    fs::rename(kept.toStdString() + "/log.0000000001", home.toStdString() + "/log.0000000001");
    EXPECT_EQ(row(home, "orders"), "1");
}

TEST_F(EnvironmentHome, AnUnfinishedCopyIsNone)
{
    const QByteArray copy = makeHome("copy");
    const std::string list = copy.toStdString() + "/BackupFiles.list.tmp";
    put(copy, "orders", "1");
    close(copy);
    std::ofstream(list).flush();
    expectRefused(copy, EBUSY);
    fs::remove(copy.toStdString() + "/log.0000000001"); // interrupted before the log was copied
    fs::remove(copy.toStdString() + "/orders");
    expectRefused(copy, EBUSY);
    fs::remove(list);
    put(copy, "orders", "1");
}

TEST_F(EnvironmentHome, TheMarkerAndTheListOfABackupDoNotKeepItFromBeingOne)
{
    const QByteArray home = makeHome();
    put(home, "orders", "1");
    close(home);
    for (const char* name : {"/BackupInProgress.tmp", "/BackupFiles.list"})
        std::ofstream(home.toStdString() + name).flush();
    EXPECT_EQ(row(home, "orders"), "1");
}

TEST_F(EnvironmentHome, WhatIsNoRegularFileIsNoTable)
{
    const QByteArray home = makeHome();
    put(home, "orders", "1");
    const fs::path path = home.toStdString();
    ASSERT_EQ(mkfifo((path / "fifo").c_str(), 0600), 0);
    fs::create_symlink("/dev/null", path / "null");
    fs::create_directory(path / "directory");
    auto opening = inBackground([&] {
        expectRefusedFile(home, "fifo", EINVAL);
        expectRefusedFile(home, "null", EINVAL);
        expectRefusedFile(home, "directory", EISDIR);
    });
    if (opening.wait_for(std::chrono::seconds(60)) != std::future_status::ready) {
        ADD_FAILURE() << "an opening waits";
        std::_Exit(1); // the thread cannot be ended
    }
    opening.get();
    EXPECT_TRUE(fs::is_fifo(path / "fifo"));
    EXPECT_TRUE(fs::is_symlink(path / "null"));
    put(home, "stock", "2");
}

TEST_F(EnvironmentHome, HasContentWithALogOrADatabase)
{
    const QByteArray home = makeHome();
    BDBEnv* env = openedEnv(home);
    EXPECT_FALSE(env->hasContent());
    {
        LogCapture log;
        BDBIndex* index = nullptr;
        EXPECT_EQ(openFile(home, QByteArray("cut\0off", 7), &index), 12);
    }
    EXPECT_FALSE(env->hasContent());
    put(home, "orders", "1");
    EXPECT_TRUE(env->hasContent());
    close(home);
    EXPECT_TRUE(openedEnv(home)->hasContent());
}

} // namespace
