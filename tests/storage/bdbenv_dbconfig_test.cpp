// Directories that a DB_CONFIG names for log and data files: each belongs to one environment only.
#include "environmenthome.h"

#include <filesystem>
#include <string>

namespace {

namespace fs = std::filesystem;

TEST_F(EnvironmentHome, ALogThatDbConfigPutsElsewhereMakesAnEnvironmentAsWell)
{
    const QByteArray top = makeHome("top");
    const QByteArray shop = makeHome("top/shop");
    makeHome("logs");
    configure(shop, "# a comment\nset_lg_dir ../../logs");
    put(shop, "orders", "shop's");
    const auto before = closedContent(shop);
    EXPECT_EQ(before.count("log.0000000001"), 0U);
    expectRefusedFile(top, "shop/orders", EBUSY);
    EXPECT_EQ(contentsOf(shop.toStdString()), before);
    EXPECT_EQ(row(shop, "orders"), "shop's"); // and it can be opened again
    close(shop);
    fs::remove(shop.toStdString() + "/DB_CONFIG"); // its log is no longer found
    expectRefused(shop, EBUSY);
}

TEST_F(EnvironmentHome, ALogDirectoryIsOneEnvironmentsOnly)
{
    const QByteArray one = makeHome("one");
    const QByteArray two = makeHome("two");
    const QByteArray logs = makeHome("logs");
    configure(one, "set_lg_dir ../logs");
    configure(two, "db_log_dir " + logs.toStdString());
    put(one, "orders", "1");
    expectRefused(two, EBUSY);
    expectHeld(logs);
    put(one, "orders", "2");
    close(one);
    EXPECT_EQ(row(one, "orders"), "2");
}

TEST_F(EnvironmentHome, TheLogDirectoryIsNotTheHomeOfAnother)
{
    const QByteArray home = makeHome();
    configure(home, "set_lg_dir ../other");
    expectRefusedForTheOther(home, makeHome("other"));
}

TEST_F(EnvironmentHome, ADataDirectoryIsOneEnvironmentsOnly)
{
    const QByteArray one = makeHome("one");
    const QByteArray two = makeHome("two");
    const QByteArray data = makeHome("data");
    makeHome("data/sub");
    for (const QByteArray& home : {one, two})
        configure(home, "set_data_dir ../data");
    put(one, "orders", "1");
    put(one, "sub/orders", "2");
    EXPECT_TRUE(fs::exists(data.toStdString() + "/sub/orders"));
    expectRefused(two, EBUSY);
    expectHeld(data);
    expectHeld(data + "/sub");
    close(one);
    expectRefused(two, EBUSY); // the log of "one" covers the files there
    expectRefused(data, EBUSY);
    EXPECT_EQ(row(one, "orders"), "1");
    EXPECT_EQ(row(one, "sub/orders"), "2");
}

TEST_F(EnvironmentHome, ADataDirectoryIsNotTheHomeOfAnother)
{
    const QByteArray home = makeHome();
    put(home, "own", "1"); // it has a log
    close(home);
    configure(home, "add_data_dir ../other");
    expectRefusedForTheOther(home, makeHome("other"));
}

} // namespace
