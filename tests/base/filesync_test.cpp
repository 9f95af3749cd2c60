#include "base/filesync.h"

#include "base/descriptor.h"
#include "support/programrun.h"
#include "support/tempdir.h"

#include <gtest/gtest.h>

#include <fcntl.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <string>

namespace fs = std::filesystem;

namespace {

/** Drops root's rights while it lives; has no effect for other users. */
class WithoutRoot {
public:
    WithoutRoot()
    {
        if (wasRoot_) {
            EXPECT_EQ(::seteuid(40001), 0);
        }
    }
    ~WithoutRoot()
    {
        if (wasRoot_) {
            EXPECT_EQ(::seteuid(0), 0);
        }
    }
    WithoutRoot(const WithoutRoot&) = delete;
    WithoutRoot& operator=(const WithoutRoot&) = delete;

private:
    const bool wasRoot_ = ::geteuid() == 0;
};

mode_t modeOf(const std::string& path)
{
    struct stat status {};
    EXPECT_EQ(::stat(path.c_str(), &status), 0);
    return status.st_mode & 07777;
}

class FileSyncTest : public testing::Test {
protected:
    void SetUp() override { fs::permissions(directory_.path(), fs::perms(0755)); }

    std::string makeFile(const std::string& name, const std::string& text = "x") const
    {
        std::ofstream(directory_.file(name)) << text;
        return directory_.file(name);
    }

    const TempDir directory_;
};

TEST_F(FileSyncTest, SyncsFilesAndDirectories)
{
    EXPECT_EQ(Base::syncToDisk(makeFile("file")), 0);
    EXPECT_EQ(Base::syncToDisk(directory_.path()), 0);
    EXPECT_EQ(readFile(directory_.file("file")), "x");
}

TEST_F(FileSyncTest, SyncsAnOpenFile)
{
    const Base::Descriptor file(::open(makeFile("file").c_str(), O_RDONLY | O_CLOEXEC));
    EXPECT_EQ(Base::syncToDisk(file.number()), 0);
    EXPECT_EQ(Base::syncToDisk(Base::Descriptor().number()), EBADF);
}

TEST_F(FileSyncTest, WhatCannotBeSyncedIsReported)
{
    const std::string file = makeFile("file");
    EXPECT_EQ(Base::syncToDisk(directory_.file("missing")), ENOENT);
    EXPECT_EQ(Base::syncToDisk(file + "/below"), ENOTDIR);
    EXPECT_EQ(Base::syncToDisk("/dev/null"), EINVAL); // a device without fsync
    EXPECT_FALSE(fs::exists(directory_.file("missing")));
    fs::permissions(file, fs::perms::none);
    const WithoutRoot user;
    EXPECT_EQ(Base::syncToDisk(file), EACCES);
}

TEST_F(FileSyncTest, SyncsAllThatIsBelowADirectory)
{
    (void)directory_.makeDirectory("a/b/c");
    (void)makeFile("a/file");
    EXPECT_EQ(Base::syncTreeToDisk(directory_.path()), 0);
    fs::create_symlink("/dev/null", directory_.file("a/b/c/device"));
    EXPECT_EQ(Base::syncTreeToDisk(directory_.path()), EINVAL) << "the deepest one is reached as well";
}

TEST_F(FileSyncTest, TreeThatCannotBeReadIsReported)
{
    EXPECT_EQ(Base::syncTreeToDisk(directory_.file("missing")), ENOENT);
    const std::string file = makeFile("file");
    EXPECT_EQ(Base::syncTreeToDisk(file), ENOTDIR);
    fs::permissions(directory_.makeDirectory("closed"), fs::perms::none);
    const WithoutRoot user;
    EXPECT_EQ(Base::syncTreeToDisk(directory_.path()), EACCES);
}

TEST_F(FileSyncTest, WritesAFileThatItsUserAloneMayRead)
{
    const std::string path = directory_.file("file");
    const std::string bytes("a\0b\n", 4);
    EXPECT_EQ(Base::writeToDisk(path, bytes), 0);
    EXPECT_EQ(readFile(path), bytes);
    EXPECT_EQ(modeOf(path), 0600U);
}

TEST_F(FileSyncTest, ReplacesWhatIsInAFileAndKeepsItsMode)
{
    const std::string path = makeFile("file", "something longer");
    fs::permissions(path, fs::perms(0640));
    EXPECT_EQ(Base::writeToDisk(path, "short"), 0);
    EXPECT_EQ(readFile(path), "short");
    EXPECT_EQ(modeOf(path), 0640U);
    EXPECT_EQ(Base::writeToDisk(path, ""), 0);
    EXPECT_EQ(readFile(path), "");
}

TEST_F(FileSyncTest, WhatCannotBeWrittenIsReported)
{
    EXPECT_EQ(Base::writeToDisk(directory_.file("missing/file"), "x"), ENOENT);
    EXPECT_EQ(Base::writeToDisk(directory_.path(), "x"), EISDIR);
    EXPECT_EQ(Base::writeToDisk("/dev/full", "x"), ENOSPC);
    EXPECT_EQ(Base::writeToDisk("/dev/null", "x"), EINVAL); // accepts the bytes, but has no fsync
    const std::string file = makeFile("file", "kept");
    fs::permissions(file, fs::perms(0444));
    {
        const WithoutRoot user;
        EXPECT_EQ(Base::writeToDisk(file, "x"), EACCES);
    }
    EXPECT_EQ(readFile(file), "kept");
}

} // namespace
