#include "format/backuplist.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <string>

namespace {

using namespace std::string_literals;

BackupList sample()
{
    BackupList list;
    list.home = "/srv/shop";
    list.firstLog = 41;
    list.lastLog = 43;
    list.lastLogSize = 51234;
    list.files = {{"log.0000000043", {51234, 0x995dc9bbdf1939fa}}, {"sub/orders_98.db", {40960, 0xf1c2a9b0d3e4f5}}};
    return list;
}

constexpr const char* SampleText = "quorva-backup-list 1\n"
                                   "home /srv/shop\n"
                                   "first-log 41\n"
                                   "end-of-log 43 51234\n"
                                   "file 51234 995dc9bbdf1939fa log.0000000043\n"
                                   "file 40960 00f1c2a9b0d3e4f5 sub/orders_98.db\n";

/** The error message for a text; empty when it is valid. */
std::string complaintAbout(std::string_view text)
{
    BackupList list = sample();
    list.home = "before";
    const BackupList before = list;
    std::string error;
    if (BackupList::read(text, &list, &error))
        return {};
    EXPECT_EQ(list, before) << "a list that cannot be read leaves everything as it was";
    EXPECT_NE(error, "");
    return error;
}

TEST(BackupList, IsWrittenAsLines)
{
    const std::string text = sample().write();
    EXPECT_EQ(text.substr(0, text.rfind("end ")), SampleText);
    EXPECT_EQ(text.substr(text.rfind("end ")).size(), "end 2 0123456789abcdef\n"s.size());
    EXPECT_EQ(text.substr(text.rfind("end "), 6), "end 2 ");
}

TEST(BackupList, ReadsWhatItWrites)
{
    BackupList largest = sample();
    largest.files["t"] = {18446744073709551615U, 18446744073709551615U};
    largest.firstLog = largest.lastLog = largest.lastLogSize = 4294967295U;
    BackupList empty;
    for (const BackupList& list : {sample(), largest, empty}) {
        BackupList read;
        std::string error;
        EXPECT_TRUE(BackupList::read(list.write(), &read, &error)) << error;
        EXPECT_EQ(read, list);
    }
}

TEST(BackupList, NamesMayHoldAnyByte)
{
    BackupList list = sample();
    for (int byte = 1; byte < 256; ++byte) {
        if (byte != '/' && byte != '.')
            list.files[std::string(1, static_cast<char>(byte))].size = static_cast<std::uint64_t>(byte);
    }
    list.files["a b\nfile 1 2 c%41"] = {1, 2};
    list.files["\xff/ x /\xc3\xa4"] = {1, 2};
    list.home = "/two\nlines";
    const std::string text = list.write();
    EXPECT_NE(text.find("a b%0afile 1 2 c%2541\n"), std::string::npos) << text;
    BackupList read;
    std::string error;
    ASSERT_TRUE(BackupList::read(text, &read, &error)) << error;
    EXPECT_EQ(read, list);
}

TEST(BackupList, EveryTruncationShows)
{
    const std::string text = sample().write();
    for (std::size_t size = 0; size < text.size(); ++size)
        EXPECT_NE(complaintAbout(std::string_view(text).substr(0, size)), "") << size;
    EXPECT_EQ(complaintAbout(""), "is cut off");
    EXPECT_EQ(complaintAbout(text.substr(0, text.size() - 1)), "is cut off");
    EXPECT_EQ(complaintAbout(SampleText), "is cut off");
}

TEST(BackupList, EveryChangedBitShows)
{
    std::string text = sample().write();
    const std::string whole = text;
    for (std::size_t bit = 0; bit < text.size() * 8; ++bit) {
        text[bit / 8] = static_cast<char>(text[bit / 8] ^ (1 << (bit % 8)));
        EXPECT_NE(complaintAbout(text), "") << bit;
        text[bit / 8] = whole[bit / 8];
    }
}

TEST(BackupList, OtherTextIsNone)
{
    const std::string text = sample().write();
    EXPECT_EQ(complaintAbout("something else\n"), "is not a list of a backup's files");
    EXPECT_EQ(complaintAbout("quorva-backup-list 2\nwhatever"), "has the unknown version 2");
    EXPECT_EQ(complaintAbout(text + "\n"), "is damaged");
    EXPECT_EQ(complaintAbout(text + text), "is damaged");
    std::string missing = text;
    missing.erase(missing.find("file 40960"), missing.find("end ") - missing.find("file 40960"));
    EXPECT_EQ(complaintAbout(missing), "is damaged");
}

TEST(BackupList, NamesThatLeadElsewhereAreRefused)
{
    for (const char* name : {"t", "sub/t", "..t", "t..", "...", ".t", "a/.../b", "log.events", " "})
        EXPECT_TRUE(BackupList::isFileName(name)) << name;
    for (const std::string& name :
         {""s, "/"s, "/t"s, "t/"s, "."s, ".."s, "../t"s, "a/../t"s, "a/.."s, "./t"s, "a//t"s, "a/./t"s, "t\0x"s, "\0"s})
        EXPECT_FALSE(BackupList::isFileName(name)) << name;
    BackupList list = sample();
    list.files["../t"] = {1, 2}; // as another program might write it
    EXPECT_EQ(complaintAbout(list.write()), "is damaged");
}

} // namespace
