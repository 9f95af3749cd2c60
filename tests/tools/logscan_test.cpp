#include "tools/logscan.h"

#include "support/tempdir.h"

#include <gtest/gtest.h>

#include <array>
#include <fstream>
#include <string>
#include <vector>

namespace {

/** The text of a log file, as far as the scan looks at it. */
class LogText {
public:
    explicit LogText(std::uint32_t previous)
    {
        add({0x040988, 0, 0, 0});
        setPrevious(previous);
    }

    void add(const std::vector<std::uint32_t>& content)
    {
        const auto offset = static_cast<std::uint32_t>(text_.size());
        const std::array<std::uint32_t, 3> header{last_, static_cast<std::uint32_t>(12 + content.size() * 4), 0};
        text_.append(reinterpret_cast<const char*>(header.data()), sizeof header);
        text_.append(reinterpret_cast<const char*>(content.data()), content.size() * 4);
        last_ = offset;
    }
    void addCommit(std::uint32_t time) { add({10, 0, 0, 0, 1, time}); }

    std::uint32_t last() const { return last_; }
    std::uint64_t size() const { return text_.size(); }

    std::string write(const TempDir& directory, const std::string& name, const std::string& more = {}) const
    {
        std::ofstream(directory.file(name), std::ios::binary) << text_ << more;
        return directory.file(name);
    }

private:
    void setPrevious(std::uint32_t previous)
    {
        text_.replace(0, sizeof previous, reinterpret_cast<const char*>(&previous), sizeof previous);
    }

    std::string text_;
    std::uint32_t last_ = 0;
};

std::vector<std::uint64_t> offsetsIn(const std::string& path, LogScan::File* file)
{
    std::vector<std::uint64_t> offsets;
    EXPECT_EQ(LogScan::read(
                  path, [&](std::uint64_t offset, std::string_view) { offsets.push_back(offset); }, file),
              0);
    return offsets;
}

TEST(LogScan, ReadsUpToTheLastRecordThatFollowsOnTheOneBefore)
{
    const TempDir directory;
    LogText log(77);
    log.addCommit(1000);
    log.addCommit(1001);
    const std::vector<std::uint64_t> all{0, 28, 64};
    for (const std::string& rest :
         {std::string(), std::string(100, '\0'), std::string(100, 'x'), std::string(5, 'x')}) {
        LogScan::File file;
        EXPECT_EQ(offsetsIn(log.write(directory, "log", rest), &file), all) << rest.size();
        EXPECT_EQ(file.previous, 77U);
        EXPECT_EQ(file.last, 64U);
        EXPECT_EQ(file.end, 100U);
    }
    LogScan::File file;
    const std::string path = log.write(directory, "log");
    std::filesystem::resize_file(path, 99);
    EXPECT_EQ(offsetsIn(path, &file), (std::vector<std::uint64_t>{0, 28})) << "a part of a record";
    EXPECT_EQ(file.end, 64U);
    std::ofstream(directory.file("text")) << std::string(100, 'x');
    EXPECT_TRUE(offsetsIn(directory.file("text"), &file).empty());
    EXPECT_EQ(file.end, 0U);
    EXPECT_EQ(LogScan::read(
                  directory.file("none"), [](auto, auto) {}, &file),
              ENOENT);
}

TEST(LogScan, KnowsWhetherAFileFollowsOnAnother)
{
    const TempDir directory;
    LogText first(0);
    first.addCommit(1000);
    LogScan::File before;
    LogScan::File after;
    (void)offsetsIn(first.write(directory, "1"), &before);
    (void)offsetsIn(LogText(first.last()).write(directory, "2"), &after);
    EXPECT_TRUE(before.isFollowedBy(after));
    first.addCommit(1001);
    (void)offsetsIn(first.write(directory, "1"), &before);
    EXPECT_FALSE(before.isFollowedBy(after));
    EXPECT_FALSE(before.isFollowedBy({}));
}

TEST(LogScan, FindsTheFirstCommitThatIsLaterThanATime)
{
    const TempDir directory;
    LogText first(0);
    for (const std::uint32_t time : {1000U, 1010U, 1005U})
        first.addCommit(time);
    LogText second(first.last());
    for (const std::uint32_t time : {1020U, 1015U, 1030U})
        second.addCommit(time);
    const std::map<std::uint32_t, std::filesystem::path> logs{{7, first.write(directory, "7")},
                                                              {8, second.write(directory, "8")}};
    const LogScan::Position endOfCopy{7, 64}; // behind the first commit
    struct Case {
        std::time_t until;
        LogScan::Position cut;
        std::time_t kept;
    };
    for (const Case& one : {Case{1000, {7, 64}, 1000}, Case{1009, {7, 64}, 1000}, Case{1010, {8, 28}, 1010},
                            Case{1019, {8, 28}, 1010}, Case{1020, {8, 100}, 1020}}) {
        LogScan::Commits commits;
        std::filesystem::path failed;
        EXPECT_EQ(LogScan::readCommits(logs, endOfCopy, one.until, &commits, &failed), 0);
        EXPECT_EQ(commits.latestInCopy, 1000);
        EXPECT_EQ(commits.latest, 1030);
        EXPECT_EQ(commits.latestKept, one.kept) << one.until;
        ASSERT_TRUE(commits.cut) << one.until;
        EXPECT_EQ(commits.cut->file, one.cut.file) << one.until;
        EXPECT_EQ(commits.cut->offset, one.cut.offset) << one.until;
    }
    LogScan::Commits commits;
    std::filesystem::path failed;
    EXPECT_EQ(LogScan::readCommits(logs, endOfCopy, 1030, &commits, &failed), 0);
    EXPECT_FALSE(commits.cut) << "none is later";
    EXPECT_EQ(commits.latestKept, 1030);
}

} // namespace
