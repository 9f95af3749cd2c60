/* ListTables of directories that contain more than tables. */
#include "listtablesfixture.h"

namespace {

namespace fs = std::filesystem;
using testing::IsEmpty;

QVariantMap refused(const QString& message)
{
    return merged(invalidRequestReply(), {{"message", message}});
}

} // namespace

TEST_F(ListTables, WhatShowsTheKernelsStateIsNotEntered)
{
    createTable(tableName());
    close();
    fs::create_directory_symlink("/proc", home() + "/proc");
    fs::create_directory_symlink("/sys/kernel", home() + "/kernel");
    EXPECT_EQ(list(), listed(false, {table("t", 1, EmptyTableBytes)}));
}

TEST_F(ListTables, WhatShowsTheKernelsStateHasNoTables)
{
    for (const char* directory : {"/proc", "/proc/self", "/sys"})
        EXPECT_EQ(list(directory),
                  refused('"' + QString(directory) + "\" shows the state of the kernel; no tables can be in it."));
    EXPECT_THAT(takeComplaints(), IsEmpty());
}

TEST_F(ListTables, ALargeDirectoryIsRefusedWithItsLimit)
{
    const std::string many = makeDirectory("many");
    constexpr int PerDirectory = 20'000; // a file has no more names on some file systems
    for (int i = 0; i <= 5; ++i) {
        const std::string part = many + '/' + std::to_string(i);
        fs::create_directory(part);
        ASSERT_EQ(::mkfifo((part + "/file").c_str(), 0600), 0); // which is not opened
        for (int link = 1; link < PerDirectory; ++link)
            ASSERT_EQ(::link((part + "/file").c_str(), (part + '/' + std::to_string(link)).c_str()), 0);
    }
    fs::create_directory_symlink(many, home() + "/link");
    EXPECT_EQ(list(), refused('"' + QString::fromStdString(home()) +
                              "\" has more than 100000 files, counting those of directories below it and behind links. "
                              "Name the directory that holds the tables."));
}
