/*
 * A disk under an environment is full, or read-only. No acknowledged write is lost, and once there is room again the
 * server continues, after a restart where the environment needs one.
 */
#include "exhaustion.h"
#include "smalldisk.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using testing::HasSubstr;

QString tableOn(const SmallDisk& disk)
{
    return QString::fromStdString(disk.point()) + "|t";
}

TEST_F(Exhaustion, AFullDiskUnderTheEnvironmentLosesNothing)
{
    SmallDisk disk("size=32m");
    if (!disk.isReady())
        GTEST_SKIP() << "this system lets nobody mount a disk for himself";
    ServerProcess server({.wrapper = disk.wrapper()});
    ASSERT_TRUE(server.start());
    Filling filling(&server, tableOn(disk), 60'000);
    ASSERT_TRUE(filling.createTable());
    while (filling.putNext())
        ASSERT_LT(filling.acknowledged(), 2000U);
    EXPECT_GT(filling.acknowledged(), 20U);
    // While the disk is full, requests are still answered.
    for (int i = 0; i < 5; ++i)
        (void)filling.putNext();
    EXPECT_THAT(server.logText(), HasSubstr("No space left on device"));

    disk.remount("size=128m");
    restart(&server);
    filling.expectAllThere();
    for (int i = 0; i < 20; ++i)
        EXPECT_TRUE(filling.putNext());
    restart(&server);
    filling.expectAllThere();
}

TEST_F(Exhaustion, ACrashOnAFullDiskLosesNothing)
{
    SmallDisk disk("size=24m");
    if (!disk.isReady())
        GTEST_SKIP() << "this system lets nobody mount a disk for himself";
    ServerProcess server({.wrapper = disk.wrapper()});
    ASSERT_TRUE(server.start());
    Filling filling(&server, tableOn(disk), 30'000);
    ASSERT_TRUE(filling.createTable());
    while (filling.putNext())
        ASSERT_LT(filling.acknowledged(), 2000U);
    restart(&server); // recovery may lack room as well, and then the environment cannot be used
    const QVariantMap reply = server.request("DescribeTable", {{"TableName", tableOn(disk)}});
    EXPECT_FALSE(reply.isEmpty());
    disk.remount("size=128m");
    restart(&server);
    filling.expectAllThere();
    EXPECT_TRUE(filling.putNext());
}

TEST_F(Exhaustion, AReadOnlyDiskIsNotFoundUntilItCanBeWrittenAgain)
{
    SmallDisk disk("size=64m");
    if (!disk.isReady())
        GTEST_SKIP() << "this system lets nobody mount a disk for himself";
    ServerProcess server({.wrapper = disk.wrapper()});
    ASSERT_TRUE(server.start());
    Filling filling(&server, tableOn(disk), 1000);
    ASSERT_TRUE(filling.createTable());
    for (int i = 0; i < 20; ++i)
        ASSERT_TRUE(filling.putNext());
    EXPECT_EQ(server.request("DeleteTable", {{"TableName", tableOn(disk)}}), okReply());

    disk.remount("ro");
    EXPECT_FALSE(filling.putNext());
    EXPECT_EQ(server.request("GetItem", {{"TableName", tableOn(disk)}, {"Key", itemKey("k0", "0")}}), notFoundReply());
    EXPECT_THAT(server.logText(), HasSubstr("Failed to open env path:"));

    disk.remount("rw");
    filling.expectAllThere();
    EXPECT_TRUE(filling.putNext());
}

TEST_F(Exhaustion, AReadOnlyDiskWithoutAnEnvironmentIsNotFoundAndStopsNothing)
{
    SmallDisk disk("size=64m");
    if (!disk.isReady())
        GTEST_SKIP() << "this system lets nobody mount a disk for himself";
    ServerProcess server({.wrapper = disk.wrapper()});
    ASSERT_TRUE(server.start());
    const QString served = QString::fromStdString(server.makeDirectory("served")) + "|t";
    Filling other(&server, served, 1000);
    ASSERT_TRUE(other.createTable());
    Filling filling(&server, tableOn(disk), 1000);
    disk.remount("ro");
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(server.request("GetItem", {{"TableName", tableOn(disk)}, {"Key", itemKey("k0", "0")}}),
                  notFoundReply());
    EXPECT_THAT(server.logText(),
                HasSubstr("Failed to open env path: " + disk.point() + " id env::" + disk.point() + " rc 30\n"));
    EXPECT_TRUE(other.putNext());
    EXPECT_TRUE(server.isRunning());

    disk.remount("rw");
    ASSERT_TRUE(filling.createTable());
    EXPECT_TRUE(filling.putNext());
    restart(&server);
    filling.expectAllThere();
    other.expectAllThere();
}

TEST_F(Exhaustion, ADiskWithoutRoomForALogStopsNothing)
{
    SmallDisk disk("size=64m,nr_inodes=2"); // its root directory and one more file
    if (!disk.isReady())
        GTEST_SKIP() << "this system lets nobody mount a disk for himself";
    ServerProcess server({.wrapper = disk.wrapper()});
    ASSERT_TRUE(server.start());
    std::vector<std::string> words = disk.wrapper();
    words.insert(words.end(), {"touch", disk.point() + "/last"});
    ASSERT_EQ(runProgram("/usr/bin/env", words).status, 0);
    const QString served = QString::fromStdString(server.makeDirectory("served")) + "|t";
    Filling other(&server, served, 1000);
    ASSERT_TRUE(other.createTable());
    Filling filling(&server, tableOn(disk), 1000);
    EXPECT_FALSE(filling.putNext());
    ASSERT_TRUE(server.waitForLog("txn_checkpoint failed rc "));
    EXPECT_TRUE(other.putNext());
    EXPECT_TRUE(server.isRunning());
    EXPECT_EQ(server.logText().find("exiting Quorva"), std::string::npos);

    disk.remount("nr_inodes=1000");
    EXPECT_EQ(server.request("DeleteTable", {{"TableName", tableOn(disk)}}), okReply());
    ASSERT_TRUE(filling.createTable());
    EXPECT_TRUE(filling.putNext());
    restart(&server);
    filling.expectAllThere();
    other.expectAllThere();
}

} // namespace
