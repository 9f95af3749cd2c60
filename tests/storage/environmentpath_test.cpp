#include "storage/environmentpath.h"

#include "support/tempdir.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <vector>

namespace {

QString canonical(const std::string& directory)
{
    return canonicalEnvironmentKey(environmentKey(QByteArray::fromStdString(directory)));
}

TEST(EnvironmentDirectory, EndsBeforeTheLastBar)
{
    struct Case {
        QByteArray tableName;
        QByteArray directory;
    };
    const std::vector<Case> cases = {
        {"/data/shop|orders", "/data/shop"},
        {"/data/shop|old|orders", "/data/shop|old"},
        {"/data/shop|", "/data/shop"},
        {"/data/shop", "/data/shop"}, // no bar: the whole name
        {"orders", "orders"},
        {"|orders", ""},
        {"|", ""},
        {"", ""},
        {QByteArray("/da\0ta|t", 8), QByteArray("/da\0ta", 6)},
    };
    for (const Case& c : cases)
        EXPECT_EQ(environmentDirectory(c.tableName), c.directory) << c.tableName.toStdString();
}

TEST(EnvironmentKey, IsThePrefixAndTheDirectoryAsSpelled)
{
    EXPECT_EQ(environmentKey("/data//shop/."), QString("env::/data//shop/."));
    EXPECT_EQ(environmentKey(""), QString("env::"));
    EXPECT_EQ(environmentKey("/d\xc3\xa4ta"), QString("env::/d") + QChar(0xe4) + "ta");
}

TEST(EnvironmentKey, GivesTheDirectoryBack)
{
    for (const QByteArray& directory : {QByteArray("/data/shop"), QByteArray(""), QByteArray("/d\xc3\xa4ta"),
                                        QByteArray("a\0b", 3), QByteArray("env::")})
        EXPECT_EQ(directoryOfKey(environmentKey(directory)), directory) << directory.toStdString();
}

TEST(CanonicalEnvironmentKey, IsTheSameForEverySpellingOfADirectory)
{
    const TempDir temp;
    const std::string real = temp.makeDirectory("real");
    ASSERT_EQ(symlink(real.c_str(), temp.file("link").c_str()), 0);
    ASSERT_EQ(symlink("link", temp.file("link to link").c_str()), 0);
    ASSERT_EQ(mkdir((real + "/sub").c_str(), 0700), 0);
    const QString key = canonical(real);
    EXPECT_TRUE(key.endsWith("/real")) << key.toStdString();
    for (const std::string& spelling :
         {real + "/", real + "///", temp.path() + "/./real", temp.path() + "//real", real + "/sub/..",
          temp.file("link"), temp.file("link") + "/", temp.file("link to link"), temp.file("link") + "/sub/.."})
        EXPECT_EQ(canonical(spelling), key) << spelling;
    EXPECT_NE(canonical(temp.path()), key);
    EXPECT_NE(canonical(real + "/sub"), key);
}

TEST(CanonicalEnvironmentKey, ResolvesRelativeNames)
{
    EXPECT_EQ(canonical("."), canonical(std::filesystem::current_path().string()));
}

TEST(CanonicalEnvironmentKey, KeepsTheSpellingOfWhatIsNoDirectoryName)
{
    const TempDir temp;
    for (const QByteArray& name :
         {temp.bytes() + "/missing/", QByteArray(""), temp.bytes() + QByteArray("\0x", 2), QByteArray("\0", 1)})
        EXPECT_EQ(canonicalEnvironmentKey(environmentKey(name)), environmentKey(name)) << name.toStdString();
}

TEST(CanonicalEnvironmentKey, NeverNamesTwoDirectoriesAlike)
{
    // A name of the file system need not be UTF-8, and a link makes it reachable by a name that is.
    const TempDir temp;
    ASSERT_EQ(mkdir(temp.file("bad\xff").c_str(), 0700), 0);
    ASSERT_EQ(mkdir(temp.file("bad\xfe").c_str(), 0700), 0);
    ASSERT_EQ(symlink(temp.file("bad\xff").c_str(), temp.file("one").c_str()), 0);
    ASSERT_EQ(symlink(temp.file("bad\xfe").c_str(), temp.file("two").c_str()), 0);
    EXPECT_NE(canonical(temp.file("one")), canonical(temp.file("two")));
}

} // namespace
