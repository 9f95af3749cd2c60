#include "tools/outputfile.h"

#include "support/tempdir.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;
using Ctl::OutputFile;

class OutputFileTest : public testing::Test {
protected:
    static std::string content(const std::string& path)
    {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    std::vector<std::string> names() const
    {
        std::vector<std::string> names;
        for (const auto& entry : fs::directory_iterator(directory_.path()))
            names.push_back(entry.path().filename().string());
        return names;
    }

    const TempDir directory_;
    const std::string path_ = directory_.file("out");
};

} // namespace

TEST_F(OutputFileTest, IsThereWhenCommittedAndNotBefore)
{
    OutputFile file(path_);
    ASSERT_EQ(file.open(), "");
    EXPECT_EQ(file.writeLine("one"), "");
    EXPECT_EQ(file.writeLine(""), "");
    EXPECT_FALSE(fs::exists(path_));
    EXPECT_EQ(file.commit(), "");
    EXPECT_EQ(content(path_), "one\n\n");
    EXPECT_EQ(names(), std::vector<std::string>{"out"});
    struct stat status = {};
    ASSERT_EQ(stat(path_.c_str(), &status), 0);
    const mode_t mask = umask(0);
    umask(mask);
    EXPECT_EQ(status.st_mode & 0777, 0666 & ~mask);
}

TEST_F(OutputFileTest, WithoutCommitTheOldFileStays)
{
    std::ofstream(path_) << "old";
    {
        OutputFile file(path_);
        ASSERT_EQ(file.open(), "");
        EXPECT_EQ(file.writeLine("new"), "");
    }
    EXPECT_EQ(content(path_), "old");
    EXPECT_EQ(names(), std::vector<std::string>{"out"});
    OutputFile file(path_);
    ASSERT_EQ(file.open(), "");
    EXPECT_EQ(file.writeLine("new"), "");
    EXPECT_EQ(file.commit(), "");
    EXPECT_EQ(content(path_), "new\n");
}

TEST_F(OutputFileTest, ALinkStaysALink)
{
    const std::string link = directory_.file("link");
    fs::create_symlink("out", link);
    std::ofstream(path_) << "old";
    OutputFile file(link);
    ASSERT_EQ(file.open(), "");
    EXPECT_EQ(file.writeLine("x"), "");
    EXPECT_EQ(file.commit(), "");
    EXPECT_TRUE(fs::is_symlink(link));
    EXPECT_EQ(content(path_), "x\n");
}

TEST_F(OutputFileTest, ADeviceIsWrittenAndNotReplaced)
{
    OutputFile file("/dev/null");
    ASSERT_EQ(file.open(), "");
    EXPECT_EQ(file.writeLine("x"), "");
    EXPECT_EQ(file.commit(), "");
    EXPECT_TRUE(fs::is_character_file("/dev/null"));
}

TEST_F(OutputFileTest, ReportsWhatCannotBeWritten)
{
    const std::string nowhere = directory_.file("none/out");
    EXPECT_EQ(OutputFile(nowhere).open(), "cannot write " + nowhere + ": No such file or directory");
    EXPECT_EQ(OutputFile(directory_.path()).open(), "cannot write " + directory_.path() + ": Is a directory");
    OutputFile full("/dev/full");
    ASSERT_EQ(full.open(), "");
    EXPECT_EQ(full.writeLine("x"), "");
    EXPECT_EQ(full.commit(), "cannot write /dev/full: No space left on device");
}
