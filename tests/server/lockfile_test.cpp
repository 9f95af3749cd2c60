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

using LockFileCreate = LockFileTest;
using LockFileOpenExisting = LockFileTest;
using LockFileCloseInherited = LockFileTest;

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

TEST_F(LockFileCreate, MakesAnEmptyFileAndLocksNothing)
{
    LockFile lock(name());
    ASSERT_TRUE(lock.create());
    EXPECT_TRUE(std::filesystem::is_regular_file(path_));
    EXPECT_EQ(std::filesystem::file_size(path_), 0u);
    EXPECT_TRUE(isFree(path_));
}

TEST_F(LockFileCreate, KeepsTheContentOfAFileThatExists)
{
    writeFile(path_, "content");
    LockFile lock(name());
    ASSERT_TRUE(lock.create());
    EXPECT_EQ(ProcFs::read(path_), "content");
}

TEST_F(LockFileCreate, ReportsWhyItFails)
{
    LockFile missing(QByteArray::fromStdString(directory_.file("no/lock")));
    EXPECT_FALSE(missing.create());
    EXPECT_EQ(missing.error(), ENOENT);
    LockFile isDirectory(directory_.bytes());
    EXPECT_FALSE(isDirectory.create());
    EXPECT_EQ(isDirectory.error(), EISDIR);
}

TEST_F(LockFileOpenExisting, NeedsTheFileAndCreatesNone)
{
    LockFile lock(name());
    EXPECT_FALSE(lock.openExisting());
    EXPECT_EQ(lock.error(), ENOENT);
    EXPECT_FALSE(std::filesystem::exists(path_));
}

TEST_F(LockFileCloseInherited, ClosesOurCopiesOfTheFileAndNoOther)
{
    const int first = open(path_.c_str(), O_RDWR | O_CREAT, 0600);
    ASSERT_TRUE(tryLock(first, LockKind::File));
    ASSERT_TRUE(tryLock(first, LockKind::Record));
    const int second = dup(first);
    const int other = open(directory_.file("other").c_str(), O_RDWR | O_CREAT, 0600);

    LockFile(name()).closeInherited();

    EXPECT_EQ(fcntl(first, F_GETFD), -1);
    EXPECT_EQ(fcntl(second, F_GETFD), -1);
    EXPECT_EQ(fcntl(other, F_GETFD), 0);
    EXPECT_TRUE(isFree(path_));
    close(other);
}

TEST_F(LockFileCloseInherited, DoesNothingWithoutAFile)
{
    const int other = open(directory_.file("other").c_str(), O_RDWR | O_CREAT, 0600);
    LockFile("").closeInherited();
    LockFile(QByteArray::fromStdString(directory_.file("none"))).closeInherited();
    EXPECT_EQ(fcntl(other, F_GETFD), 0);
    close(other);
}
