#include "storage/registrykeys.h"

#include "support/tempdir.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <vector>

namespace {

QString canonical(const std::string& directory)
{
    return RegistryKeys::canonical(RegistryKeys::environment(QByteArray::fromStdString(directory)));
}

TEST(RegistryKeys, AnEnvironmentsIsThePrefixAndTheDirectoryAsSpelled)
{
    EXPECT_EQ(RegistryKeys::environment("/data//shop/."), QString("env::/data//shop/."));
    EXPECT_EQ(RegistryKeys::environment(""), QString("env::"));
    EXPECT_EQ(RegistryKeys::environment("/d\xc3\xa4ta"), QString("env::/d") + QChar(0xe4) + "ta");
}

TEST(RegistryKeys, AnEnvironmentsGivesTheDirectoryBack)
{
    for (const QByteArray& directory : {QByteArray("/data/shop"), QByteArray(""), QByteArray("/d\xc3\xa4ta"),
                                        QByteArray("a\0b", 3), QByteArray("env::")})
        EXPECT_EQ(RegistryKeys::directoryOf(RegistryKeys::environment(directory)), directory)
            << directory.toStdString();
}

TEST(CanonicalRegistryKeys, AnEnvironmentsIsTheSameForEverySpellingOfADirectory)
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

TEST(CanonicalRegistryKey, ResolvesRelativeNames)
{
    EXPECT_EQ(canonical("."), canonical(std::filesystem::current_path().string()));
}

TEST(CanonicalRegistryKey, KeepsTheSpellingOfWhatIsNoDirectoryName)
{
    const TempDir temp;
    for (const QByteArray& name :
         {temp.bytes() + "/missing/", QByteArray(""), temp.bytes() + QByteArray("\0x", 2), QByteArray("\0", 1)})
        EXPECT_EQ(RegistryKeys::canonical(RegistryKeys::environment(name)), RegistryKeys::environment(name))
            << name.toStdString();
}

TEST(CanonicalRegistryKey, NeverNamesTwoDirectoriesAlike)
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
