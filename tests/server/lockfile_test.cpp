#include "lockfilefixture.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <string>

#include <unistd.h>

namespace {

/** Sets an environment variable, or unsets it if `value` is null; the destructor restores it. */
class ScopedVariable {
public:
    ScopedVariable(const char* name, const char* value) : name_(name), wasSet_(qEnvironmentVariableIsSet(name))
    {
        before_ = qgetenv(name);
        value == nullptr ? qunsetenv(name) : qputenv(name, value);
    }
    ~ScopedVariable() { wasSet_ ? qputenv(name_, before_) : qunsetenv(name_); }
    ScopedVariable(const ScopedVariable&) = delete;
    ScopedVariable& operator=(const ScopedVariable&) = delete;

private:
    const char* name_;
    bool wasSet_;
    QByteArray before_;
};

} // namespace

TEST(LockFileName, WithASlashIsThePath)
{
    const ScopedVariable temporary("TMPDIR", "/elsewhere");
    EXPECT_EQ(LockFile("/a/lock").path(), "/a/lock");
    EXPECT_EQ(LockFile("./lock").path(), "./lock");
    EXPECT_EQ(LockFile("lock/").path(), "lock/");
}

TEST(LockFileName, WithoutASlashIsInsideTheTemporaryDirectory)
{
    const ScopedVariable temporary("TMPDIR", "/elsewhere");
    EXPECT_EQ(LockFile("lock").path(), "/elsewhere/lock");
    EXPECT_EQ(LockFile("Global\\lock name").path(), "/elsewhere/Global\\lock name");
}

TEST(LockFileName, TemporaryDirectoryIsSlashTmpWhenUnsetOrEmpty)
{
    for (const char* value : {static_cast<const char*>(nullptr), ""}) {
        const ScopedVariable temporary("TMPDIR", value);
        EXPECT_EQ(LockFile("lock").path(), "/tmp/lock");
    }
}

TEST(LockFileName, EmptyIsNoName)
{
    LockFile lock("");
    EXPECT_FALSE(lock.isNamed());
    EXPECT_EQ(lock.path(), "");
    EXPECT_FALSE(lock.openExisting());
    EXPECT_EQ(lock.error(), ENOENT);
    EXPECT_TRUE(LockFile("x").isNamed());
}

TEST(LockFileCreate, MakesAnEmptyFileAndLocksNothing)
{
    const TempDir directory;
    const std::string path = directory.file("lock");
    LockFile lock(QByteArray::fromStdString(path));
    ASSERT_TRUE(lock.create());
    EXPECT_TRUE(std::filesystem::is_regular_file(path));
    EXPECT_EQ(std::filesystem::file_size(path), 0u);
    EXPECT_TRUE(isFree(path));
}

TEST(LockFileCreate, KeepsTheContentOfAFileThatExists)
{
    const TempDir directory;
    const std::string path = directory.file("lock");
    writeFile(path, "content");
    LockFile lock(QByteArray::fromStdString(path));
    ASSERT_TRUE(lock.create());
    EXPECT_EQ(ProcFs::read(path), "content");
}

TEST(LockFileCreate, TellsWhyItFails)
{
    const TempDir directory;
    LockFile missing(QByteArray::fromStdString(directory.file("no/lock")));
    EXPECT_FALSE(missing.create());
    EXPECT_EQ(missing.error(), ENOENT);
    LockFile isDirectory(directory.bytes());
    EXPECT_FALSE(isDirectory.create());
    EXPECT_EQ(isDirectory.error(), EISDIR);
}

TEST(LockFileOpenExisting, NeedsTheFileAndCreatesNone)
{
    const TempDir directory;
    const std::string path = directory.file("lock");
    LockFile lock(QByteArray::fromStdString(path));
    EXPECT_FALSE(lock.openExisting());
    EXPECT_EQ(lock.error(), ENOENT);
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST(LockFileCloseInherited, ClosesOurCopiesOfTheFileAndNoOther)
{
    const TempDir directory;
    const std::string path = directory.file("lock");
    const int first = open(path.c_str(), O_RDWR | O_CREAT, 0600);
    ASSERT_TRUE(tryLock(first, LockKind::File));
    ASSERT_TRUE(tryLock(first, LockKind::Record));
    const int second = dup(first);
    const int other = open(directory.file("other").c_str(), O_RDWR | O_CREAT, 0600);

    LockFile(QByteArray::fromStdString(path)).closeInherited();

    EXPECT_EQ(fcntl(first, F_GETFD), -1);
    EXPECT_EQ(fcntl(second, F_GETFD), -1);
    EXPECT_EQ(fcntl(other, F_GETFD), 0);
    EXPECT_TRUE(isFree(path));
    close(other);
}

TEST(LockFileCloseInherited, DoesNothingWithoutAFile)
{
    const TempDir directory;
    const int other = open(directory.file("other").c_str(), O_RDWR | O_CREAT, 0600);
    LockFile("").closeInherited();
    LockFile(QByteArray::fromStdString(directory.file("none"))).closeInherited();
    EXPECT_EQ(fcntl(other, F_GETFD), 0);
    close(other);
}
