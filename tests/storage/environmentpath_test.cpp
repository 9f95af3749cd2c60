#include "storage/environmentpath.h"

#include "support/tempdir.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <string>
#include <vector>

namespace {

TEST(EnvironmentPath, OfATableEndsBeforeTheLastBar)
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
        EXPECT_EQ(EnvironmentPath::ofTable(c.tableName), c.directory) << c.tableName.toStdString();
}

TEST(EnvironmentPath, CanonicalIsAbsoluteAndWithoutLinks)
{
    const TempDir temp;
    const std::string real = temp.makeDirectory("real");
    std::filesystem::create_directory_symlink("real", temp.file("link"));
    QByteArray canonical;
    ASSERT_EQ(EnvironmentPath::canonical(QByteArray::fromStdString(temp.file("link") + "/../link/."), &canonical), 0);
    EXPECT_EQ(canonical.toStdString(), std::filesystem::canonical(real).string());
}

TEST(EnvironmentPath, WhatDoesNotExistHasNoCanonicalPath)
{
    const TempDir temp;
    QByteArray canonical = "unchanged";
    EXPECT_EQ(EnvironmentPath::canonical(QByteArray::fromStdString(temp.file("missing")), &canonical), ENOENT);
    EXPECT_EQ(canonical, "unchanged");
}

} // namespace
