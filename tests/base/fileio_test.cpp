#include "base/fileio.h"

#include "base/descriptor.h"
#include "support/tempdir.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <utility>

namespace {

/** More than a pipe transfers at once. */
std::string longText()
{
    std::string text;
    for (int i = 0; text.size() < 300000; ++i)
        text += std::to_string(i) + ' ';
    return text;
}

struct Pipe {
    Pipe()
    {
        std::array<int, 2> ends{-1, -1};
        EXPECT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
        reading = Base::Descriptor(ends[0]);
        writing = Base::Descriptor(ends[1]);
    }
    Base::Descriptor reading;
    Base::Descriptor writing;
};

class FileIoTest : public testing::Test {
protected:
    std::string fileWith(const std::string& text) const
    {
        const std::string path = directory_.file("file");
        std::ofstream(path, std::ios::binary) << text;
        return path;
    }

    static Base::Descriptor open(const std::string& path, int flags)
    {
        Base::Descriptor file(::open(path.c_str(), flags | O_CLOEXEC));
        EXPECT_TRUE(file.isOpen()) << path;
        return file;
    }

    const TempDir directory_;
};

TEST_F(FileIoTest, ReadAllTakesAllThatAPipeGivesInPieces)
{
    const std::string text = longText();
    const auto handler = std::signal(SIGPIPE, SIG_IGN);
    Pipe pipe;
    std::thread writer([&] {
        EXPECT_EQ(Base::writeAll(pipe.writing.number(), text), 0);
        pipe.writing = {};
    });
    std::string bytes = "before ";
    EXPECT_EQ(Base::readAll(pipe.reading.number(), text.size() + 1, &bytes), 0);
    pipe.reading = {}; // a writer that is not done yet fails
    writer.join();
    std::signal(SIGPIPE, handler);
    EXPECT_EQ(bytes, "before " + text);
}

TEST_F(FileIoTest, ReadAllEndsAtTheLimitAndContinuesFromThere)
{
    const std::string text = longText();
    const Base::Descriptor file = open(fileWith(text), O_RDONLY);
    std::string bytes;
    EXPECT_EQ(Base::readAll(file.number(), 100000, &bytes), 0);
    EXPECT_EQ(bytes, text.substr(0, 100000));
    EXPECT_EQ(Base::readAll(file.number(), text.size(), &bytes), 0);
    EXPECT_EQ(bytes, text);
}

TEST_F(FileIoTest, ReadAllReportsWhatFailedAndKeepsWhatItHad)
{
    std::string bytes = "before";
    EXPECT_EQ(Base::readAll(open(directory_.path(), O_RDONLY).number(), 10, &bytes), EISDIR);
    EXPECT_EQ(bytes, "before");
}

TEST_F(FileIoTest, ReadFileHasAllBytesOfAFile)
{
    const std::string text = longText() + std::string("\0\n", 2);
    std::string bytes = "before";
    EXPECT_EQ(Base::readFile(fileWith(text), &bytes), 0);
    EXPECT_EQ(bytes, text);
}

TEST_F(FileIoTest, ReadFileReportsWhatCannotBeRead)
{
    std::string bytes = "before";
    EXPECT_EQ(Base::readFile(directory_.file("missing"), &bytes), ENOENT);
    EXPECT_EQ(bytes, "");
    EXPECT_EQ(Base::readFile(directory_.path(), &bytes), EISDIR);
}

TEST_F(FileIoTest, ReadAtGetsLessOnlyWhereTheFileEnds)
{
    const Base::Descriptor file = open(fileWith("0123456789"), O_RDONLY);
    char buffer[4] = {};
    std::size_t got = 0;
    EXPECT_EQ(Base::readAt(file.number(), 5, buffer, sizeof buffer, &got), 0);
    EXPECT_EQ(std::string(buffer, got), "5678");
    EXPECT_EQ(Base::readAt(file.number(), 8, buffer, sizeof buffer, &got), 0);
    EXPECT_EQ(std::string(buffer, got), "89");
    EXPECT_EQ(Base::readAt(file.number(), 20, buffer, sizeof buffer, &got), 0);
    EXPECT_EQ(got, 0U);
    EXPECT_EQ(Base::readAt(-1, 0, buffer, sizeof buffer, &got), EBADF);
}

TEST_F(FileIoTest, WriteAllAtLeavesTheRestOfTheFile)
{
    const std::string path = fileWith("0123456789");
    EXPECT_EQ(Base::writeAllAt(open(path, O_WRONLY).number(), 3, "abc"), 0);
    std::string bytes;
    EXPECT_EQ(Base::readFile(path, &bytes), 0);
    EXPECT_EQ(bytes, "012abc6789");
}

/** The system writes part of the bytes and refuses the rest. */
TEST_F(FileIoTest, WritingContinuesAfterAPartialWriteAndReportsWhyTheRestFails)
{
    const std::string path = fileWith("");
    rlimit before{};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &before), 0);
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    const rlimit limited{5, before.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &limited), 0);
    const int appended = Base::writeAll(open(path, O_WRONLY).number(), "0123456789");
    const int placed = Base::writeAllAt(open(path, O_WRONLY).number(), 2, "abcdefghij");
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &before), 0);
    std::signal(SIGXFSZ, handler);
    EXPECT_EQ(appended, EFBIG);
    EXPECT_EQ(placed, EFBIG);
    std::string bytes;
    EXPECT_EQ(Base::readFile(path, &bytes), 0);
    EXPECT_EQ(bytes, "01abc");
    EXPECT_EQ(Base::writeAll(open("/dev/full", O_WRONLY).number(), "x"), ENOSPC);
}

} // namespace
