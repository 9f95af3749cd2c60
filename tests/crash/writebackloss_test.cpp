#include "writebackloss.h"

#include "support/backupfixture.h"
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

/** An environment's directory and a strict one, and programs that run with them. */
class WriteBackLossTest : public testing::Test {
protected:
    void SetUp() override
    {
#ifdef QUORVA_SANITIZED
        GTEST_SKIP() << "a sanitizer wants to be the first library of its process";
#endif
    }

    /**
     * Runs Python statements: `path` is the name of a file in the environment's directory, `strict` the strict one,
     * make() writes a file and does not synchronise it, sync() synchronises a file or directory.
     */
    void run(const std::string& statements, const std::map<std::string, std::string>& more = {})
    {
        std::map<std::string, std::string> variables = loss_.environment();
        variables.insert(more.begin(), more.end());
        std::vector<std::string> arguments;
        for (const auto& [name, value] : variables)
            arguments.push_back(name + '=' + value);
        const std::string prologue = "import os\n"
                                     "path = '" +
                                     file("file") +
                                     "'\n"
                                     "strict = '" +
                                     strict_ +
                                     "'\n"
                                     "def make(name, text):\n"
                                     "    f = os.open(name, os.O_WRONLY | os.O_CREAT | os.O_TRUNC)\n"
                                     "    os.write(f, text)\n"
                                     "    os.close(f)\n"
                                     "def sync(name):\n"
                                     "    f = os.open(name, os.O_RDONLY)\n"
                                     "    os.fsync(f)\n"
                                     "    os.close(f)\n";
        arguments.insert(arguments.end(), {"python3", "-c", prologue + statements});
        const ProgramRun result = runProgram("/usr/bin/env", arguments);
        EXPECT_EQ(result.status, 0) << result.error;
    }

    std::string file(const std::string& name) const
    {
        return tracked_ + '/' + name;
    }

    /** What is in the strict directory: relative paths, with the bytes of files. */
    std::map<std::string, std::string> left() const
    {
        return contentsOf(strict_);
    }

    TempDir directory_;
    const std::string tracked_ = directory_.makeDirectory("tracked");
    const std::string strict_ = directory_.makeDirectory("strict");
    WriteBackLoss loss_{{.environment = tracked_, .strict = strict_, .state = directory_.makeDirectory("durable")}};
};

using Files = std::map<std::string, std::string>;

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

TEST_F(WriteBackLossTest, AStrictFileIsLostUnlessItsDirectoryWasSynchronised)
{
    run("os.chdir(strict)\n"
        "make('lost', b'bytes')\n"
        "make('kept', b'bytes')\n"
        "make('empty', b'bytes')\n"
        "sync('kept')\n"
        "sync('.')\n"
        "sync('lost')\n"
        "make('later', b'bytes')\n"
        "sync('later')\n");
    loss_.loseAll();
    // "lost" had its name when the directory was synchronised, and its bytes afterwards; "later" has no name.
    EXPECT_EQ(left(), (Files{{"empty", ""}, {"kept", "bytes"}, {"lost", "bytes"}}));
}

TEST_F(WriteBackLossTest, StrictBytesAreKeptWhoeverWroteThem)
{
    run("import tempfile\n"
        "f, name = tempfile.mkstemp(dir=strict)\n"
        "g = os.fdopen(f, 'wb')\n"
        "g.write(b'a' * 9000)\n"
        "g.flush()\n"
        "os.fsync(g.fileno())\n"
        "g.write(b'b')\n"
        "g.close()\n"
        "os.rename(name, strict + '/a')\n"
        "source = os.open('/dev/zero', os.O_RDONLY)\n"
        "target = os.open(strict + '/z', os.O_RDWR | os.O_CREAT)\n"
        "os.sendfile(target, source, None, 5000)\n"
        "os.fdatasync(target)\n"
        "s = os.open(strict + '/s', os.O_WRONLY | os.O_CREAT | os.O_DSYNC)\n"
        "os.write(s, b'nothing of ours relies on this')\n"
        "sync(strict)\n");
    loss_.loseAll();
    EXPECT_EQ(left(), (Files{{"a", std::string(9000, 'a')}, {"s", ""}, {"z", std::string(5000, '\0')}}));
}

TEST_F(WriteBackLossTest, AStrictRenameIsUndone)
{
    run("os.chdir(strict)\n"
        "make('a', b'old')\n"
        "sync('a')\n"
        "sync('.')\n"
        "make('a.new', b'new')\n"
        "sync('a.new')\n"
        "os.rename('a.new', 'a')\n");
    EXPECT_EQ(left(), (Files{{"a", "new"}}));
    loss_.loseAll();
    EXPECT_EQ(left(), (Files{{"a", "old"}}));
}

TEST_F(WriteBackLossTest, AStrictRenameIsKeptOnceItsDirectoryIsSynchronised)
{
    run("os.chdir(strict)\n"
        "make('a', b'old')\n"
        "sync('a')\n"
        "sync('.')\n"
        "make('a.new', b'new')\n"
        "os.rename('a.new', 'a')\n"
        "sync('.')\n");
    loss_.loseAll();
    EXPECT_EQ(left(), (Files{{"a", ""}})); // of the new one nothing was synchronised but its name
}

TEST_F(WriteBackLossTest, AStrictRemovalIsUndone)
{
    run("import shutil\n"
        "os.chdir(strict)\n"
        "os.mkdir('d')\n"
        "make('d/a', b'text')\n"
        "sync('d/a')\n"
        "sync('d')\n"
        "sync('.')\n"
        "shutil.rmtree('d')\n"
        "os.mkdir('e')\n"
        "make('e/b', b'of the same numbers, were they free')\n"
        "sync('e/b')\n"
        "sync('e')\n");
    loss_.loseAll();
    EXPECT_EQ(left(), (Files{{"d", ""}, {"d/a", "text"}}));
}

TEST_F(WriteBackLossTest, AStrictDirectoryTakesWhatIsInItAlong)
{
    run("os.chdir(strict)\n"
        "os.mkdir('d')\n"
        "make('d/a', b'text')\n"
        "sync('d/a')\n"
        "sync('d')\n"
        "os.mkdir('e')\n"
        "make('e/b', b'text')\n"
        "sync('e/b')\n"
        "sync('.')\n");
    loss_.loseAll();
    EXPECT_EQ(left(), (Files{{"d", ""}, {"d/a", "text"}, {"e", ""}}));
}

TEST_F(WriteBackLossTest, AStrictDirectoryThatReplacedAnotherIsUndone)
{
    run("os.chdir(strict)\n"
        "os.mkdir('target')\n"
        "sync('.')\n"
        "os.mkdir('made')\n"
        "make('made/a', b'text')\n"
        "sync('made/a')\n"
        "sync('made')\n"
        "os.rename('made', 'target')\n");
    EXPECT_EQ(left(), (Files{{"target", ""}, {"target/a", "text"}}));
    loss_.loseAll();
    EXPECT_EQ(left(), (Files{{"target", ""}}));
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

TEST_F(WriteBackLossTest, TheNextProcessGoesOnWithWhatTheLastOneLeft)
{
    run("f = os.open(path, os.O_RDWR | os.O_CREAT)\nos.write(f, b'written')\n");
    run("f = os.open(path, os.O_RDWR)\nos.fsync(f)\n");
    loss_.loseAll();
    EXPECT_EQ(readFile(file("file")), "written");
}

TEST_F(WriteBackLossTest, SomeIsWholeBlocksOfEither)
{
    std::minstd_rand random(1);
    std::set<std::string> outcomes;
    for (int i = 0; i < 120; ++i) {
        // As after each loss, what is left is durable: so everything begins anew.
        std::filesystem::remove(file("file"));
        std::ofstream(file("file")) << std::string(4096 * 4, 'd');
        loss_.settle(file("file"));
        std::ofstream(file("file"), std::ios::in).seekp(4096 * 2) << std::string(4096 * 4, 'w');
        loss_.loseSome(&random);
        std::string shape;
        const std::string bytes = readFile(file("file"));
        for (std::size_t at = 0; at < bytes.size(); at += 4096) {
            const char first = bytes[at];
            EXPECT_EQ(bytes.substr(at, 4096), std::string(4096, first));
            shape += first == '\0' ? '0' : first;
        }
        outcomes.insert(shape);
        loss_.loseAll();
        EXPECT_EQ(readFile(file("file")), bytes) << "what was left is durable";
    }
    // Two blocks over durable ones, two behind them: of either, each alone, none and both.
    EXPECT_EQ(outcomes,
              (std::set<std::string>{"dddd", "ddwd", "dddw", "ddww", "ddddw", "ddwdw", "dddww", "ddwww", "dddd0w",
                                     "ddwd0w", "dddw0w", "ddww0w", "ddddww", "ddwdww", "dddwww", "ddwwww"}));
}

TEST_F(WriteBackLossTest, SomeNamesAreThoseOfBeforeOrAfter)
{
    std::minstd_rand random(1);
    std::set<std::string> outcomes;
    for (int i = 0; i < 100; ++i) {
        for (const auto& entry : std::filesystem::directory_iterator(strict_))
            std::filesystem::remove(entry.path());
        for (const char* name : {"moved", "removed", "replaced"})
            std::ofstream(strict_ + '/' + name) << name[2];
        loss_.settle(strict_);
        std::filesystem::rename(strict_ + "/moved", strict_ + "/to");
        std::filesystem::remove(strict_ + "/removed");
        std::ofstream(strict_ + "/fresh") << 'x';
        std::filesystem::rename(strict_ + "/fresh", strict_ + "/replaced");
        loss_.loseSome(&random);
        std::string names;
        for (const auto& [name, bytes] : left())
            names += name + (name == "replaced" && bytes != "p" ? "* " : " ");
        outcomes.insert(names);
    }
    std::set<std::string> expected;
    for (const std::string moved : {"moved ", "to ", "moved to "}) {
        for (const std::string removed : {"", "removed "}) {
            for (const std::string replaced : {"replaced ", "replaced* "}) {
                const bool both = moved == "moved to ";
                expected.insert(both ? "moved " + removed + replaced + "to "
                                     : (moved == "moved " ? moved + removed + replaced : removed + replaced + moved));
            }
        }
    }
    EXPECT_EQ(outcomes, expected);
}

} // namespace
