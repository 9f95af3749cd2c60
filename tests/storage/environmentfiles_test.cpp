#include "storage/environmentfiles.h"

#include "support/tempdir.h"

#include <gtest/gtest.h>

#include <sys/inotify.h>
#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>

namespace {

namespace fs = std::filesystem;

class EnvironmentFilesTest : public testing::Test {
protected:
    /** The first page of a B-tree whose last change is in log file `logFile`. */
    void writeDatabase(const std::string& name, std::uint32_t logFile) const
    {
        const std::uint32_t start[4] = {logFile, 28, 0, 0x053162};
        std::ofstream(home_.path() + '/' + name, std::ios::binary)
            .write(reinterpret_cast<const char*>(start), sizeof start);
    }

    int counted(int most) const
    {
        int count = -1;
        EXPECT_EQ(EnvironmentFiles::countDatabases(home_.path(), most, &count), 0);
        return count;
    }

    bool logged() const
    {
        bool found = false;
        EXPECT_EQ(EnvironmentFiles::findLoggedDatabase(home_.path(), &found), 0);
        return found;
    }

    const TempDir home_;
};

/** While this lives, records which files of a directory are opened. */
class OpenedFiles {
public:
    explicit OpenedFiles(const std::string& directory) : descriptor_(inotify_init1(IN_NONBLOCK | IN_CLOEXEC))
    {
        EXPECT_GE(inotify_add_watch(descriptor_, directory.c_str(), IN_OPEN), 0);
    }
    ~OpenedFiles() { close(descriptor_); }
    OpenedFiles(const OpenedFiles&) = delete;
    OpenedFiles& operator=(const OpenedFiles&) = delete;

    std::size_t number() const
    {
        std::set<std::string> names;
        alignas(inotify_event) char events[65536];
        const ssize_t bytes = read(descriptor_, events, sizeof events);
        for (ssize_t at = 0; at < bytes;) {
            const auto* event = reinterpret_cast<const inotify_event*>(events + at);
            if (event->len > 0)
                names.insert(event->name);
            at += static_cast<ssize_t>(sizeof *event + event->len);
        }
        return names.size();
    }

private:
    const int descriptor_;
};

TEST_F(EnvironmentFilesTest, DatabasesAreCountedAtAnyDepthUpToTheMost)
{
    EXPECT_EQ(counted(10), 0);
    fs::create_directories(home_.path() + "/sub/deeper");
    fs::create_directories(home_.path() + "/environment");
    for (const char* name : {"a", "b", "sub/c", "sub/deeper/d", "environment/e"})
        writeDatabase(name, 1);
    std::ofstream(home_.path() + "/environment/log.0000000001") << "its own";
    std::ofstream(home_.path() + "/text") << "no database, although it is long enough";
    EXPECT_EQ(counted(10), 4);
    EXPECT_EQ(counted(4), 4);
    EXPECT_EQ(counted(3), 3);
    EXPECT_EQ(counted(1), 1);
    EXPECT_EQ(counted(0), 0);
    EXPECT_EQ(counted(-1), 0);
}

TEST_F(EnvironmentFilesTest, NoFurtherFilesAreOpenedThanTheCountNeeds)
{
    for (int n = 0; n < 20; ++n)
        writeDatabase("t" + std::to_string(n), 1);
    const OpenedFiles opened(home_.path());
    EXPECT_EQ(counted(3), 3);
    EXPECT_EQ(opened.number(), 3U);
    EXPECT_EQ(counted(100), 20);
    EXPECT_EQ(opened.number(), 20U);
}

TEST_F(EnvironmentFilesTest, TheFirstLoggedDatabaseIsEnough)
{
    EXPECT_FALSE(logged());
    for (int n = 0; n < 20; ++n)
        writeDatabase("loaded" + std::to_string(n), 0);
    EXPECT_FALSE(logged());
    fs::create_directory(home_.path() + "/sub");
    writeDatabase("sub/t", 1);
    EXPECT_TRUE(logged());
    for (int n = 0; n < 20; ++n)
        writeDatabase("loaded" + std::to_string(n), 7);
    fs::remove_all(home_.path() + "/sub");
    const OpenedFiles opened(home_.path());
    EXPECT_TRUE(logged());
    EXPECT_EQ(opened.number(), 1U);
}

} // namespace
