// The strict directory: names are lost unless their directory was synchronised.
#include "writebacklossfixture.h"

#include <gtest/gtest.h>

#include <string>

namespace {

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
    // "lost" existed when the directory was synchronised, and its bytes were later; the name of "later" never was.
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
    EXPECT_EQ(left(), (Files{{"a", ""}})); // only the name of the new one was synchronised
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

} // namespace
