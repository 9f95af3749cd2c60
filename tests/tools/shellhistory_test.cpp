#include "tools/shellhistory.h"

#include "support/files.h"
#include "support/tempdir.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using Ctl::ShellHistory;
using Lines = std::vector<std::string>;

mode_t modeOf(const std::string& path)
{
    struct stat status = {};
    EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
    return status.st_mode & 07777;
}

} // namespace

TEST(ShellHistory, KeepsLinesInAFileThatOnlyItsUserCanRead)
{
    const TempDir directory;
    const std::string path = directory.file("state/quorva/history");
    ShellHistory(path).add("scan d|t");
    ShellHistory(path).add("put d|t h=S:geheim");
    EXPECT_EQ(ShellHistory(path).load(), Lines({"scan d|t", "put d|t h=S:geheim"}));
    EXPECT_EQ(readFile(path), "scan d|t\nput d|t h=S:geheim\n");
    EXPECT_EQ(modeOf(path), 0600U);
    EXPECT_EQ(modeOf(directory.file("state/quorva")), 0700U);
    EXPECT_EQ(modeOf(directory.file("state")), 0700U);
}

TEST(ShellHistory, TakesTheRightsToAFileThatOthersCanRead)
{
    const TempDir directory;
    std::ofstream(directory.file("history")) << "a\n";
    ASSERT_EQ(chmod(directory.file("history").c_str(), 0644), 0);
    ShellHistory(directory.file("history")).add("b");
    EXPECT_EQ(readFile(directory.file("history")), "a\nb\n");
    EXPECT_EQ(modeOf(directory.file("history")), 0600U);
}

TEST(ShellHistory, LeavesADeviceAsItIs)
{
    const TempDir directory;
    const int terminal = ::posix_openpt(O_RDWR | O_NOCTTY); // as root, /dev/null would suffer from a failure
    ASSERT_GE(terminal, 0);
    ASSERT_EQ(::unlockpt(terminal), 0);
    const std::string device = ::ptsname(terminal);
    ASSERT_EQ(chmod(device.c_str(), 0666), 0);
    std::filesystem::create_symlink(device, directory.file("history"));
    ShellHistory(directory.file("history")).add("a");
    EXPECT_EQ(modeOf(device), 0666U);
    ::close(terminal);
}

TEST(ShellHistory, KeepsNoCommandOfSeveralLines)
{
    const TempDir directory;
    ShellHistory(directory.file("history")).add("put d|t '{\n}'");
    EXPECT_EQ(ShellHistory(directory.file("history")).load(), Lines());
}

TEST(ShellHistory, KeepsTheLastLinesWhenItHasGrown)
{
    const TempDir directory;
    const std::string path = directory.file("history");
    Lines last;
    {
        std::ofstream file(path);
        for (std::size_t i = 0; i < 2 * ShellHistory::MostLines; ++i) {
            file << "line " << i << '\n';
            if (i >= ShellHistory::MostLines)
                last.push_back("line " + std::to_string(i));
        }
    }
    EXPECT_EQ(ShellHistory(path).load(), last);
    EXPECT_EQ(readFile(path).size(), last.size() * 10); // "line 1000\n" to "line 1999\n"
    EXPECT_EQ(modeOf(path), 0600U);
    EXPECT_EQ(ShellHistory(path).load(), last);
}

TEST(ShellHistory, WithoutAPlaceKeepsNothing)
{
    ShellHistory("").add("a");
    EXPECT_EQ(ShellHistory("").load(), Lines());
    ShellHistory("/proc/none/history").add("a");
    EXPECT_EQ(ShellHistory("/proc/none/history").load(), Lines());
}
