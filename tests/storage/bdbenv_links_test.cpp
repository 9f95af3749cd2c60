// Environments and files that are reached through symbolic links, or under other names than before.
#include "environmenthome.h"

#include <cstdlib>
#include <filesystem>
#include <string>

namespace {

namespace fs = std::filesystem;

TEST_F(EnvironmentHome, LinksIntoAnotherEnvironmentAreRefused)
{
    const QByteArray one = makeHome("one");
    const QByteArray two = closedHome("two", "two's");
    makeHome("two/deep");
    const auto before = contentsOf(two.toStdString());
    (void)openedEnv(one);
    link(two, "one/sub");
    link(two + "/orders", "one/orders");
    link(two + "/missing", "one/missing");
    link(two + "/deep", "one/deep");
    expectRefusedFile(one, "sub/orders", EBUSY);
    expectRefusedFile(one, "sub/new", EBUSY);
    expectRefusedFile(one, "orders", EBUSY);
    expectRefusedFile(one, "missing", ENOENT);
    expectRefusedFile(one, "deep/new", EBUSY);
    EXPECT_EQ(contentsOf(two.toStdString()), before);
    EXPECT_EQ(row(two, "orders"), "two's");
}

TEST_F(EnvironmentHome, ALinkToAnotherOfItsDirectoriesIsNoSecondNameOfTheFilesThere)
{
    const QByteArray top = makeHome("top");
    const QByteArray other = makeHome("other disk");
    put(top, "sub/orders", "1");
    link("sub", "top/also");
    link(top, "top/circle");
    link(other, "top/linked");
    link(top + "/sub", "other disk/back");
    for (const char* file : {"also/orders", "also/new", "also/deep/new", "circle/sub/orders", "linked/back/orders"})
        expectRefusedFile(top, file, ELOOP);
    put(top, "linked/orders", "2");
    EXPECT_EQ(row(top, "sub/orders"), "1");
    EXPECT_FALSE(fs::exists(top.toStdString() + "/sub/new"));
    EXPECT_FALSE(fs::exists(top.toStdString() + "/sub/deep"));
}

TEST_F(EnvironmentHome, ADirectoryOfTwoEnvironmentsIsWithTheFirst)
{
    const QByteArray one = makeHome("one");
    const QByteArray two = makeHome("two");
    const QByteArray shared = makeHome("shared");
    link(shared, "one/sub");
    link(shared, "two/sub");
    put(one, "sub/orders", "one's");
    ASSERT_EQ(openedEnv(one)->memp_sync(nullptr), 0); // or the environment's own threads change the file meanwhile
    const auto before = contentsOf(shared.toStdString());
    expectRefusedFile(two, "sub/orders", EBUSY);
    expectRefusedFile(two, "sub/new", EBUSY);
    EXPECT_EQ(contentsOf(shared.toStdString()), before);
    EXPECT_EQ(row(one, "sub/orders"), "one's");
}

TEST_F(EnvironmentHome, ALinkThatIsSwitchedTakesNothingElsewhere)
{
    const QByteArray one = makeHome("one");
    const QByteArray two = closedHome("two", "two's");
    const auto before = contentsOf(two.toStdString());
    link(one, "current");
    const QByteArray current = temp_.bytes() + "/current";
    put(current, "orders", "one's");
    BDBEnv* env = openedEnv(one);
    link(two, "current");

    BDBObjTable connection(4);
    connection.setEnv(env);
    BDBIndex* later = nullptr;
    ASSERT_EQ(Registry::openIndex(&connection, "db::later:data", "later", "data", &later), 0);
    const std::string value(200'000, 'v');
    for (int i = 0; !fs::exists(one.toStdString() + "/log.0000000002") && i < 100; ++i)
        ASSERT_EQ(putRow(later, nullptr, "key" + std::to_string(i % 10), value), 0);
    EXPECT_TRUE(fs::exists(one.toStdString() + "/log.0000000002"));
    EXPECT_TRUE(fs::exists(one.toStdString() + "/later"));
    EXPECT_EQ(contentsOf(two.toStdString()), before);

    char** list = nullptr;
    ASSERT_EQ(env->log_archive(&list, DB_ARCH_ABS | DB_ARCH_LOG), 0);
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(*list, (one + "/log.0000000001").toStdString());
    std::free(list);

    close(one);
    EXPECT_EQ(row(two, "orders"), "two's");
    EXPECT_EQ(row(one, "orders"), "one's");
}

TEST_F(EnvironmentHome, OneThatWasMovedAwayOpensNoFurtherFiles)
{
    const QByteArray home = makeHome();
    const QByteArray other = closedHome("other", "other's");
    const auto before = contentsOf(other.toStdString());
    put(home, "orders", "1");
    const std::string moved = temp_.file("moved");
    fs::rename(home.toStdString(), moved);
    fs::rename(other.toStdString(), home.toStdString());
    expectRefusedFile(home, "later", ESTALE);
    EXPECT_EQ(contentsOf(home.toStdString()), before);
    fs::rename(home.toStdString(), other.toStdString());
    fs::rename(moved, home.toStdString());
    put(home, "later", "2");
    EXPECT_EQ(row(home, "orders"), "1");
}

TEST_F(EnvironmentHome, RecoveryIsReportedInTheSpellingOfTheRequest)
{
    const QByteArray home = makeHome();
    link(home, "link");
    const QByteArray spelled = temp_.bytes() + "/link";
    BDBEnv* env = openedEnv(spelled);
    EXPECT_EQ(env->spelledHome(), spelled);
    EXPECT_EQ(env->canonicalHome(), home);
}

} // namespace
