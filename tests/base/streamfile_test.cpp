#include "base/streamfile.h"

#include "support/files.h"
#include "support/tempdir.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>

namespace {

class StreamFile : public testing::Test {
protected:
    StreamFile() : stream_(std::fopen(path("first").c_str(), "ae")) {}
    ~StreamFile() override { EXPECT_EQ(std::fclose(stream_), 0); }

    std::string path(const std::string& name) const { return directory_.file(name); }

    TempDir directory_;
    std::FILE* const stream_;
};

TEST_F(StreamFile, ContinuesAfterWhatIsInTheOtherFile)
{
    std::ofstream(path("second")) << "kept ";
    std::fputs("one", stream_); // still in the stream's buffer
    EXPECT_EQ(Base::continueIn(stream_, path("second").c_str()), 0);
    std::fputs("two", stream_);
    EXPECT_EQ(std::fflush(stream_), 0);
    EXPECT_EQ(readFile(path("first")), "one");
    EXPECT_EQ(readFile(path("second")), "kept two");
    EXPECT_NE(::fcntl(::fileno(stream_), F_GETFD) & FD_CLOEXEC, 0);
    EXPECT_EQ(::fcntl(::fileno(stream_), F_GETFL) & (O_APPEND | O_NONBLOCK), O_APPEND);
}

TEST_F(StreamFile, StaysWhereItIsIfTheOtherFileCannotBeOpened)
{
    ASSERT_EQ(::mkfifo(path("fifo").c_str(), 0600), 0);
    EXPECT_EQ(Base::continueIn(stream_, path("missing/second").c_str()), ENOENT);
    EXPECT_EQ(Base::continueIn(stream_, directory_.path().c_str()), EISDIR);
    EXPECT_EQ(Base::continueIn(stream_, path("fifo").c_str()), ENXIO); // nobody reads it
    std::fputs("one", stream_);
    EXPECT_EQ(std::fflush(stream_), 0);
    EXPECT_EQ(readFile(path("first")), "one");
}

TEST_F(StreamFile, LinesOfOtherThreadsGoToOneOfTheFilesEach)
{
    constexpr int Threads = 4;
    constexpr int Lines = 500;
    const std::string fill(6000, 'x'); // more than the stream's buffer
    std::vector<std::thread> threads;
    for (int thread = 0; thread < Threads; ++thread) {
        threads.emplace_back([&, thread] {
            for (int line = 0; line < Lines; ++line) {
                std::fprintf(stream_, "%d %d %s.\n", thread, line, fill.c_str());
                std::fflush(stream_);
            }
        });
    }
    constexpr int Files = 50;
    for (int file = 0; file < Files; ++file)
        EXPECT_EQ(Base::continueIn(stream_, path(std::to_string(file)).c_str()), 0);
    for (std::thread& thread : threads)
        thread.join();

    std::map<std::string, int> found;
    std::vector<std::string> names{"first"};
    for (int file = 0; file < Files; ++file)
        names.push_back(std::to_string(file));
    for (const std::string& name : names) {
        std::istringstream lines(readFile(path(name)));
        for (std::string line; std::getline(lines, line);)
            ++found[line];
    }
    EXPECT_EQ(found.size(), static_cast<std::size_t>(Threads * Lines));
    for (int thread = 0; thread < Threads; ++thread) {
        for (int line = 0; line < Lines; ++line)
            EXPECT_EQ(found[std::to_string(thread) + ' ' + std::to_string(line) + ' ' + fill + '.'], 1);
    }
}

} // namespace
