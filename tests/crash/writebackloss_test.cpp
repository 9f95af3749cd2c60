#include "writebackloss.h"

#include "support/programrun.h"
#include "support/tempdir.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>

namespace {

std::string contents(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/** A directory with images beside it, and programs that run with them. */
class WriteBackLossTest : public testing::Test {
protected:
    void SetUp() override
    {
#ifdef QUORVA_SANITIZED
        GTEST_SKIP() << "a sanitizer wants to be the first library of its process";
#endif
    }

    /** Runs Python statements in the directory, after "import os" and with `path` as the file's name. */
    void run(const std::string& statements)
    {
        std::vector<std::string> arguments;
        for (const auto& [name, value] : loss_.environment())
            arguments.push_back(name + '=' + value);
        arguments.insert(arguments.end(), {"python3", "-c", "import os\npath = '" + file("file") + "'\n" + statements});
        const ProgramRun result = runProgram("/usr/bin/env", arguments);
        EXPECT_EQ(result.status, 0) << result.error;
    }

    std::string file(const std::string& name) const
    {
        return tracked_ + '/' + name;
    }

    TempDir directory_;
    const std::string tracked_ = directory_.makeDirectory("tracked");
    WriteBackLoss loss_{tracked_, directory_.makeDirectory("images")};
};

TEST_F(WriteBackLossTest, WhatWasNotSynchronisedIsLost)
{
    run("f = os.open(path, os.O_RDWR | os.O_CREAT)\n"
        "os.pwrite(f, b'durable', 0)\n"
        "os.fsync(f)\n"
        "os.pwrite(f, b'LOST and more', 0)\n");
    EXPECT_EQ(contents(file("file")), "LOST and more");
    loss_.loseAll();
    EXPECT_EQ(contents(file("file")), "durable");
}

TEST_F(WriteBackLossTest, FdatasyncKeepsBytesAndLength)
{
    run("f = os.open(path, os.O_RDWR | os.O_CREAT)\n"
        "os.write(f, b'a' * 5000)\n"
        "os.write(f, b'b' * 5000)\n"
        "os.fdatasync(f)\n");
    loss_.loseAll();
    EXPECT_EQ(contents(file("file")), std::string(5000, 'a') + std::string(5000, 'b'));
}

TEST_F(WriteBackLossTest, ASynchronousWriteKeepsItsOwnBytesOnly)
{
    run("f = os.open(path, os.O_RDWR | os.O_CREAT)\n"
        "s = os.open(path, os.O_RDWR | os.O_DSYNC)\n"
        "os.pwrite(f, b'lost', 0)\n"
        "os.pwrite(s, b'kept', 4)\n");
    loss_.loseAll();
    EXPECT_EQ(contents(file("file")), std::string(4, '\0') + "kept");
}

TEST_F(WriteBackLossTest, SynchronisingThroughAnyDescriptorKeepsTheWholeFile)
{
    run("f = os.open(path, os.O_RDWR | os.O_CREAT)\n"
        "os.write(f, b'bytes')\n"
        "os.close(f)\n"
        "f = os.open(path, os.O_RDWR)\n"
        "os.fsync(f)\n");
    loss_.loseAll();
    EXPECT_EQ(contents(file("file")), "bytes");
}

TEST_F(WriteBackLossTest, TruncationIsLostToo)
{
    run("f = os.open(path, os.O_RDWR | os.O_CREAT)\n"
        "os.write(f, b'0123456789')\n"
        "os.fsync(f)\n"
        "os.ftruncate(f, 3)\n");
    EXPECT_EQ(contents(file("file")), "012");
    loss_.loseAll();
    EXPECT_EQ(contents(file("file")), "0123456789");
}

TEST_F(WriteBackLossTest, NamesAreDurableAtOnce)
{
    run("f = os.open(path, os.O_RDWR | os.O_CREAT)\n"
        "os.write(f, b'before')\n"
        "os.fsync(f)\n"
        "os.rename(path, path + '2')\n"
        "os.pwrite(f, b'BEHIND', 6)\n"
        "os.fsync(f)\n"
        "g = os.open(path, os.O_RDWR | os.O_CREAT)\n"
        "os.write(g, b'gone')\n"
        "os.fsync(g)\n"
        "os.unlink(path)\n");
    loss_.loseAll();
    EXPECT_FALSE(std::filesystem::exists(file("file")));
    EXPECT_EQ(contents(file("file2")), "beforeBEHIND");
}

TEST_F(WriteBackLossTest, TheNextProcessGoesOnWithWhatTheLastOneLeft)
{
    run("f = os.open(path, os.O_RDWR | os.O_CREAT)\nos.write(f, b'written')\n");
    run("f = os.open(path, os.O_RDWR)\nos.fsync(f)\n");
    loss_.loseAll();
    EXPECT_EQ(contents(file("file")), "written");
}

TEST_F(WriteBackLossTest, SomeIsWholeBlocksOfEither)
{
    run("f = os.open(path, os.O_RDWR | os.O_CREAT)\n"
        "os.write(f, b'd' * 4096 * 4)\n"
        "os.fsync(f)\n"
        "os.pwrite(f, b'w' * 4096 * 4, 4096 * 2)\n");
    const std::string written = contents(file("file"));
    std::minstd_rand random(1);
    std::set<std::string> outcomes;
    for (int i = 0; i < 200; ++i) {
        // As after each loss, what is left is durable: so everything begins anew.
        TempDir other;
        const WriteBackLoss loss(other.makeDirectory("tracked"), other.makeDirectory("images"));
        std::ofstream(other.file("tracked/file")) << written;
        std::ofstream(other.file("images/file")) << std::string(4096 * 4, 'd');
        loss.loseSome(&random);
        std::string shape;
        const std::string left = contents(other.file("tracked/file"));
        for (std::size_t at = 0; at < left.size(); at += 4096) {
            const char first = left[at];
            EXPECT_EQ(left.substr(at, 4096), std::string(4096, first));
            shape += first == '\0' ? '0' : first;
        }
        outcomes.insert(shape);
        EXPECT_EQ(contents(other.file("images/file")), left);
    }
    // Two blocks over durable ones, two behind them: of either, each alone, none and both.
    EXPECT_EQ(outcomes,
              (std::set<std::string>{"dddd", "ddwd", "dddw", "ddww", "ddddw", "ddwdw", "dddww", "ddwww", "dddd0w",
                                     "ddwd0w", "dddw0w", "ddww0w", "ddddww", "ddwdww", "dddwww", "ddwwww"}));
}

TEST_F(WriteBackLossTest, AFileOfWhichNothingWasSynchronisedMayBeMissing)
{
    std::minstd_rand random(1);
    bool missing = false;
    bool empty = false;
    for (int i = 0; i < 100; ++i) {
        TempDir other;
        const WriteBackLoss loss(other.makeDirectory("tracked"), other.makeDirectory("images"));
        std::ofstream(other.file("tracked/file")) << "new";
        std::ofstream(other.file("images/file")).flush();
        loss.loseSome(&random);
        const bool there = std::filesystem::exists(other.file("tracked/file"));
        missing = missing || !there;
        empty = empty || (there && std::filesystem::is_empty(other.file("tracked/file")));
    }
    EXPECT_TRUE(missing);
    EXPECT_TRUE(empty);
}

} // namespace
