#include "tools/directorysettings.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

namespace {

using namespace DirectorySettings;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::uint64_t MiB = 1024 * 1024;

std::string sizeError(const std::string& text)
{
    std::uint64_t bytes = 7;
    const std::string error = readCacheSize(text, &bytes);
    EXPECT_EQ(bytes, 7U) << text;
    return error;
}

} // namespace

TEST(DirectorySettings, EachLineOfANewFileHasACommentThatBerkeleyDbSkips)
{
    const Merged merged = merge("", std::nullopt);
    EXPECT_THAT(merged.added,
                ElementsAre("log_set_config db_log_dsync off", "set_cachesize 0 67108864 1", "set_lg_max 41943040",
                            "#quorva prepare_log_files on", "#quorva remove_unneeded_logs on"));
    EXPECT_THAT(merged.changed, IsEmpty());
    std::istringstream lines(merged.text);
    std::string before;
    std::vector<std::string> settings;
    for (std::string line; std::getline(lines, line); before = line) {
        EXPECT_LE(line.size(), 254U) << "the server refuses longer lines: " << line;
        if (line.starts_with('#') && !line.starts_with("#quorva "))
            continue;
        EXPECT_TRUE(before.starts_with("# ")) << line;
        settings.push_back(line);
    }
    EXPECT_EQ(settings, merged.added);
}

TEST(DirectorySettings, WhatWasMergedOnceIsTheSameTheNextTime)
{
    for (const char* text : {"", "set_lk_max_locks 5000", "set_cachesize 0 1048576 1\n"}) {
        const Merged once = merge(text, 300 * MiB);
        EXPECT_FALSE(once.isSame()) << text;
        const Merged twice = merge(once.text, 300 * MiB);
        EXPECT_TRUE(twice.isSame()) << text;
        EXPECT_EQ(twice.text, once.text);
        EXPECT_TRUE(merge(once.text, std::nullopt).isSame()) << "a size that somebody chose";
    }
}

TEST(DirectorySettings, LinesThatAreThereStayAsTheyAre)
{
    const std::string text = "# mine\n"
                             " set_cachesize  1 0 1 \n"
                             "log_set_config db_log_dsync on\n"
                             "set_lg_max 104857600\n"
                             "set_lg_dir logs\n"
                             " #quorva  remove_unneeded_logs off\n"
                             "#quorva prepare_log_files off\n"
                             "set_lg_max_not 1";
    const Merged merged = merge(text, std::nullopt);
    EXPECT_TRUE(merged.isSame());
    EXPECT_EQ(merged.text, text + '\n');
}

TEST(DirectorySettings, MissingLinesAreAddedAfterTheOthers)
{
    const Merged merged = merge("set_lg_dir logs\n#set_lg_max 1\nlog_set_config db_log_dsync off\n", std::nullopt);
    EXPECT_THAT(merged.added, ElementsAre("set_cachesize 0 67108864 1", "set_lg_max 41943040",
                                          "#quorva prepare_log_files on", "#quorva remove_unneeded_logs on"));
    EXPECT_EQ(merged.text, "set_lg_dir logs\n"
                           "#set_lg_max 1\n"
                           "log_set_config db_log_dsync off\n"
                           "# The cache of database pages: GiB, plus bytes, number of pieces.\n"
                           "set_cachesize 0 67108864 1\n"
                           "# The size of a log file in bytes. At least 4 MiB, which is four times the log's buffer.\n"
                           "set_lg_max 41943040\n"
                           "# The next log file is prepared while one is being written, so that a flush need not "
                           "extend a file. For the server.\n"
                           "#quorva prepare_log_files on\n"
                           "# Log files that are not needed are removed, unless a backup needs them. For the server; "
                           "Berkeley DB ignores it.\n"
                           "#quorva remove_unneeded_logs on\n");
}

TEST(DirectorySettings, ACacheSizeReplacesTheOneInEffect)
{
    const std::string other = "log_set_config db_log_dsync off\nset_lg_max 41943040\n#quorva prepare_log_files on\n"
                              "#quorva remove_unneeded_logs on\n";
    const Merged merged = merge(other + "set_cachesize 0 1 1\nset_cachesize\t1  0 2\n", 1025 * MiB);
    EXPECT_THAT(merged.added, IsEmpty());
    EXPECT_THAT(merged.changed, ElementsAre("set_cachesize 1 0 2 with set_cachesize 1 1048576 1"));
    EXPECT_EQ(merged.text, other + "set_cachesize 0 1 1\nset_cachesize 1 1048576 1\n");
}

TEST(CacheSize, IsANumberOfBytesOrOfUnits)
{
    struct Row {
        const char* text;
        std::uint64_t bytes;
    };
    for (const Row& row : {Row{"1048576", MiB}, {"1024K", MiB}, {"1M", MiB}, {"100M", 100 * MiB}, {"0001M", MiB}}) {
        std::uint64_t bytes = 0;
        EXPECT_EQ(readCacheSize(row.text, &bytes), "") << row.text;
        EXPECT_EQ(bytes, row.bytes) << row.text;
    }
}

TEST(CacheSize, SaysWhatItDoesNotTake)
{
    for (const char* text : {"", "M", "x", "-1M", "+1M", " 1M", "1 M", "1MB", "1m", "1.5G", "1T", "0x100000"})
        EXPECT_EQ(sizeError(text), "\"" + std::string(text) +
                                       "\" is not a size; use a number of bytes, or a number followed by K, M or G");
    for (const char* text : {"0", "1048575", "1023K", "0G"})
        EXPECT_EQ(sizeError(text), "a cache of " + std::string(text) + " is too small; the minimum is 1M");
    for (const char* text : {"18446744073709551615", "99999999999999999999", "17179869185G", "4000000G"})
        EXPECT_EQ(sizeError(text), "a cache of " + std::string(text) + " is more than the memory of this machine");
}
