#include "writebacklossfixture.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

namespace {

TEST_F(WriteBackLossTest, WhatWasNotSynchronisedIsLost)
{
    run("f = os.open(path, os.O_RDWR | os.O_CREAT)\n"
        "os.pwrite(f, b'durable', 0)\n"
        "os.fsync(f)\n"
        "os.pwrite(f, b'LOST and more', 0)\n");
    EXPECT_EQ(readFile(file("file")), "LOST and more");
    loss_.loseAll();
    EXPECT_EQ(readFile(file("file")), "durable");
}

TEST_F(WriteBackLossTest, FdatasyncKeepsBytesAndLength)
{
    run("f = os.open(path, os.O_RDWR | os.O_CREAT)\n"
        "os.write(f, b'a' * 5000)\n"
        "os.write(f, b'b' * 5000)\n"
        "os.fdatasync(f)\n");
    loss_.loseAll();
    EXPECT_EQ(readFile(file("file")), std::string(5000, 'a') + std::string(5000, 'b'));
}

TEST_F(WriteBackLossTest, ASynchronousWriteKeepsItsOwnBytesOnly)
{
    run("f = os.open(path, os.O_RDWR | os.O_CREAT)\n"
        "s = os.open(path, os.O_RDWR | os.O_DSYNC)\n"
        "os.pwrite(f, b'lost', 0)\n"
        "os.pwrite(s, b'kept', 4)\n");
    loss_.loseAll();
    EXPECT_EQ(readFile(file("file")), std::string(4, '\0') + "kept");
}

TEST_F(WriteBackLossTest, SynchronisingThroughAnyDescriptorKeepsTheWholeFile)
{
    run("f = os.open(path, os.O_RDWR | os.O_CREAT)\n"
        "os.write(f, b'bytes')\n"
        "os.close(f)\n"
        "f = os.open(path, os.O_RDWR)\n"
        "os.fsync(f)\n");
    loss_.loseAll();
    EXPECT_EQ(readFile(file("file")), "bytes");
}

TEST_F(WriteBackLossTest, TruncationIsLostToo)
{
    run("f = os.open(path, os.O_RDWR | os.O_CREAT)\n"
        "os.write(f, b'0123456789')\n"
        "os.fsync(f)\n"
        "os.ftruncate(f, 3)\n");
    EXPECT_EQ(readFile(file("file")), "012");
    loss_.loseAll();
    EXPECT_EQ(readFile(file("file")), "0123456789");
}

TEST_F(WriteBackLossTest, SynchronisingAFileOfTheEnvironmentKeepsItsName)
{
    run("make(path, b'before')\n"
        "sync(path)\n"
        "os.rename(path, path + '2')\n"
        "f = os.open(path + '2', os.O_RDWR)\n"
        "os.pwrite(f, b'BEHIND', 6)\n"
        "os.fsync(f)\n"
        "os.mkdir(path + '.d')\n"
        "s = os.open(path + '.d/s', os.O_RDWR | os.O_CREAT | os.O_DSYNC)\n"
        "os.write(s, b'synchronous')\n"
        "make(path + '.d/never', b'lost')\n");
    loss_.loseAll();
    EXPECT_EQ(contentsOf(tracked_), (Files{{"file.d", ""}, {"file.d/s", "synchronous"}, {"file2", "beforeBEHIND"}}));
}

TEST_F(WriteBackLossTest, ARemovalFromTheEnvironmentIsUndone)
{
    run("make(path, b'durable')\n"
        "sync(path)\n"
        "os.unlink(path)\n"
        "make(path, b'another')\n");
    loss_.loseAll();
    EXPECT_EQ(contentsOf(tracked_), (Files{{"file", "durable"}}));
}

TEST_F(WriteBackLossTest, TheEnvironmentsNamesMayFollowTheStrictRule)
{
    run("make(path, b'bytes')\n"
        "sync(path)\n",
        {{"CRASH_STRICT_NAMES", "1"}});
    loss_.loseAll();
    EXPECT_EQ(contentsOf(tracked_), Files());
}

TEST_F(WriteBackLossTest, WhatATestPutThereIsDurableWhenItSaysSo)
{
    std::filesystem::create_directory(strict_ + "/d");
    std::ofstream(strict_ + "/d/a") << "kept";
    loss_.settle(strict_ + "/d");
    std::ofstream(strict_ + "/d/b") << "lost";
    loss_.loseAll();
    EXPECT_EQ(left(), (Files{{"d", ""}, {"d/a", "kept"}}));
}

TEST_F(WriteBackLossTest, ADiskThatOnlyClaimsToHaveSynchronisedKeepsNothing)
{
    run("make(path, b'bytes')\n"
        "sync(path)\n"
        "make(strict + '/a', b'bytes')\n"
        "sync(strict + '/a')\n"
        "sync(strict)\n",
        {{"CRASH_IGNORE_SYNC", "1"}});
    loss_.loseAll();
    EXPECT_EQ(contentsOf(tracked_), Files());
    EXPECT_EQ(left(), Files());
}

TEST_F(WriteBackLossTest, WhatASyncFailedToWriteIsLostUnlessItIsWrittenAgain)
{
    const std::map<std::string, std::string> fault{{"CRASH_FAIL_FILE", directory_.file("fail")},
                                                   {"CRASH_FAIL_NAME", "file"}};
    run("f = os.open(path, os.O_RDWR | os.O_CREAT)\n"
        "os.write(f, b'a' * 4096 * 3)\n"
        "os.fsync(f)\n"
        "os.pwrite(f, b'b' * 4096 * 3, 0)\n"
        "trigger = os.environ['CRASH_FAIL_FILE']\n"
        "os.close(os.open(trigger, os.O_CREAT | os.O_WRONLY))\n"
        "try:\n"
        "    os.fsync(f)\n"
        "    raise AssertionError('no error')\n"
        "except OSError as error:\n"
        "    assert error.errno == 5\n"
        "os.unlink(trigger)\n"
        "os.fsync(f)\n"
        "os.pwrite(f, b'c' * 4096, 4096)\n"
        "os.fsync(f)\n",
        fault);
    run("f = os.open(path, os.O_RDWR)\n"
        "os.fsync(f)\n"
        "assert os.pread(f, 4096, 0) == b'b' * 4096\n"
        "os.pwrite(f, os.pread(f, 4096, 8192), 8192)\n"
        "os.fsync(f)\n");
    loss_.loseAll();
    EXPECT_EQ(readFile(file("file")), std::string(4096, 'a') + std::string(4096, 'c') + std::string(4096, 'b'));
}

TEST_F(WriteBackLossTest, TheNextProcessContinuesWithWhatTheLastOneLeft)
{
    run("f = os.open(path, os.O_RDWR | os.O_CREAT)\nos.write(f, b'written')\n");
    run("f = os.open(path, os.O_RDWR)\nos.fsync(f)\n");
    loss_.loseAll();
    EXPECT_EQ(readFile(file("file")), "written");
}

} // namespace
