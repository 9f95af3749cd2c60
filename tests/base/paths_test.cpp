#include "base/paths.h"

#include "support/tempdir.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

namespace {

TEST(IsWithin, ADirectoryAndAllBelowIt)
{
    EXPECT_TRUE(Base::isWithin("/srv/shop", "/srv/shop"));
    EXPECT_TRUE(Base::isWithin("/srv/shop/a/b", "/srv/shop"));
    EXPECT_TRUE(Base::isWithin("/srv", "/"));
}

TEST(IsWithin, NeitherItsParentsNorNamesThatBeginAlike)
{
    EXPECT_FALSE(Base::isWithin("/srv", "/srv/shop"));
    EXPECT_FALSE(Base::isWithin("/srv/shop2", "/srv/shop"));
    EXPECT_FALSE(Base::isWithin("/", "/srv"));
}

TEST(SizeOfFile, IsThatOfARegularFileAlsoBehindALink)
{
    const TempDir directory;
    std::ofstream(directory.file("file")) << "12345";
    std::ofstream(directory.file("empty"));
    std::filesystem::create_symlink("file", directory.file("link"));
    std::filesystem::create_symlink("nowhere", directory.file("dangling"));
    EXPECT_EQ(Base::sizeOfFile(directory.file("file")), 5);
    EXPECT_EQ(Base::sizeOfFile(directory.file("link")), 5);
    EXPECT_EQ(Base::sizeOfFile(directory.file("empty")), 0);
    EXPECT_EQ(Base::sizeOfFile(directory.file("dangling")), -1);
    EXPECT_EQ(Base::sizeOfFile(directory.file("missing")), -1);
    EXPECT_EQ(Base::sizeOfFile(directory.path()), -1);
    EXPECT_EQ(Base::sizeOfFile("/dev/null"), -1);
}

} // namespace
