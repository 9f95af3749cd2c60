// Environments in directories below each other: which of them a directory and its files belong to.
#include "childprocess.h"
#include "environmenthome.h"
#include "support/background.h"

#include <atomic>
#include <filesystem>
#include <fstream>
#include <future>
#include <string>

namespace {

namespace fs = std::filesystem;

TEST_F(EnvironmentHome, AFileInAClosedEnvironmentBelowIsRefused)
{
    const QByteArray top = makeHome("top");
    const QByteArray shop = closedHome("top/shop", "shop's");
    const auto before = contentsOf(shop.toStdString());
    for (const char* file : {"shop/orders", "shop/new", "shop/sub/new"})
        expectRefusedFile(top, file, EBUSY);
    EXPECT_EQ(contentsOf(shop.toStdString()), before);
    put(top, "orders", "top's"); // continues
    EXPECT_EQ(row(shop, "orders"), "shop's");
    EXPECT_EQ(row(top, "orders"), "top's");
}

TEST_F(EnvironmentHome, AFileInAnOpenEnvironmentBelowIsRefusedBeforeThatHasALog)
{
    const QByteArray top = makeHome("top");
    const QByteArray shop = makeHome("top/shop");
    ChildProcess other([&](const ChildProcess::Teller& teller) {
        teller.tell(openedEnv(shop) != nullptr ? 0 : 1);
        (void)pause();
    });
    int failed = 1;
    ASSERT_TRUE(other.hear(&failed));
    fs::remove(shop.toStdString() + "/log.0000000001"); // it may have one already
    expectRefusedFile(top, "shop/orders", EBUSY);       // open in another process
    EXPECT_FALSE(fs::exists(shop.toStdString() + "/orders"));
    other.kill();
    fs::remove(shop.toStdString() + "/log.0000000001");

    (void)openedEnv(shop);
    expectRefusedFile(top, "shop/orders", EBUSY); // open in this process
    EXPECT_FALSE(fs::exists(shop.toStdString() + "/orders"));
    put(shop, "orders", "shop's");
    EXPECT_EQ(row(shop, "orders"), "shop's");
}

TEST_F(EnvironmentHome, OrdinaryDirectoriesBelowWork)
{
    const QByteArray top = makeHome("top");
    const QByteArray other = makeHome("other disk");
    link(other, "top/linked");
    put(top, "sub/orders", "1");
    put(top, "sub/deeper/orders", "2");
    put(top, "linked/orders", "3");
    put(top, "sub/stock", "4");
    close(top);
    EXPECT_EQ(row(top, "sub/orders"), "1");
    EXPECT_EQ(row(top, "sub/deeper/orders"), "2");
    EXPECT_EQ(row(top, "linked/orders"), "3");
    EXPECT_EQ(row(top, "sub/stock"), "4");
}

TEST_F(EnvironmentHome, WithDatabasesOfAnOpenEnvironmentItIsNoEnvironmentOfItsOwn)
{
    const QByteArray top = makeHome("top");
    const QByteArray shop = makeHome("top/shop");
    put(top, "shop/sub/orders", "top's");
    expectHeld(shop);
    expectHeld(shop + "/sub");
    close(top); // from here on, what it wrote is on disk
    expectRefused(shop, EBUSY);
    expectRefused(shop + "/sub", EBUSY);
    EXPECT_EQ(row(top, "shop/sub/orders"), "top's");
}

TEST_F(EnvironmentHome, WithDatabasesOfAKilledEnvironmentItIsNoneEither)
{
    const QByteArray top = makeHome("top");
    const QByteArray shop = makeHome("top/shop");
    ChildProcess writer([&](const ChildProcess::Teller& teller) {
        put(top, "shop/orders", "top's");
        teller.waitForKill();
    });
    int failed = 1;
    ASSERT_TRUE(writer.hear(&failed));
    ASSERT_EQ(failed, 0);
    expectHeld(shop);
    writer.kill();
    expectRefused(shop, EBUSY);
    EXPECT_EQ(row(top, "shop/orders"), "top's");
}

TEST_F(EnvironmentHome, AFileThatCannotBeOpenedClaimsNoDirectory)
{
    const QByteArray top = makeHome("top");
    const QByteArray shop = makeHome("top/shop");
    std::ofstream(shop.toStdString() + "/text") << std::string(4096, 'x');
    LogCapture log;
    BDBIndex* index = nullptr;
    EXPECT_EQ(openFile(top, "shop/text", &index), 12);
    put(shop, "orders", "shop's");
}

TEST_F(EnvironmentHome, EnvironmentsBelowDoNotKeepItFromBeingOne)
{
    const QByteArray shop = makeHome("top/shop");
    put(shop, "orders", "shop's");
    close(shop);
    put(makeHome("top"), "orders", "top's");
    EXPECT_EQ(row(shop, "orders"), "shop's");
}

TEST_F(EnvironmentHome, ARefusedFileLeavesNoDirectories)
{
    const QByteArray top = makeHome("top");
    const QByteArray shop = makeHome("top/shop");
    (void)openedEnv(shop);
    expectRefusedFile(top, "shop/sub/orders", EBUSY);
    EXPECT_FALSE(fs::exists(shop.toStdString() + "/sub"));
    expectRefusedFile(top, "made/" + QByteArray(255, 'd') + "d/orders", ENAMETOOLONG);
    EXPECT_FALSE(fs::exists(top.toStdString() + "/made"));
    put(top, "made/sub/orders", "1");
    EXPECT_EQ(fs::status(top.toStdString() + "/made/sub").permissions(), fs::perms(0700));
}

TEST_F(EnvironmentHome, ADirectoryBeingMadeIsWithOneOfTwoEnvironments)
{
    const QByteArray top = makeHome("top");
    (void)openedEnv(top);
    for (int i = 0; i < 10; ++i) { // the environment has no room for more
        LogCapture log;
        const QByteArray name = "shop" + QByteArray::number(i);
        const std::string path = (top + '/' + name).toStdString();
        std::atomic<bool> done = false;
        auto outer = inBackground([&] {
            BDBIndex* index = nullptr;
            const int rc = openFile(top, name + "/new", &index);
            done = true;
            return rc;
        });
        EnvironmentUse use;
        int inner = 3;
        while (inner != 0 && !done)
            inner = open(top + '/' + name, &use);
        use.reset();
        if (outer.get() != 0) {
            EXPECT_EQ(inner, 0) << i;
            EXPECT_FALSE(fs::exists(path + "/new")) << i;
        } else {
            EXPECT_NE(inner, 0) << i;
            EXPECT_TRUE(fs::exists(path + "/new")) << i;
        }
        if (inner == 0)
            close(top + '/' + name);
    }
}

} // namespace
