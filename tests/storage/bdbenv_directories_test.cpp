// Which directories can be an environment, and which files belong to it.
#include "storage/bdbenv.h"

#include "childprocess.h"
#include "loglines.h"
#include "registryfixture.h"
#include "rows.h"
#include "storage/bdbindex.h"
#include "storage/openindex.h"
#include "support/directorycontents.h"
#include "support/waituntil.h"

#include <gmock/gmock.h>

#include <sys/stat.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <future>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

namespace fs = std::filesystem;

constexpr uid_t Nobody = 65534;

class EnvironmentHome : public RegistryFixture {
protected:
    /** The result of opening database `file` in the environment of `home`, which is opened when it is not. */
    int openFile(const QByteArray& home, const QByteArray& file, BDBIndex** index)
    {
        BDBObjTable connection(4);
        connection.setEnv(openedEnv(home));
        return Registry::openIndex(&connection, QString::fromUtf8("db::" + file + ":data"), file, "data", index);
    }

    /** Writes a row into a database, or reads it. */
    void put(const QByteArray& home, const QByteArray& file, const std::string& value)
    {
        BDBIndex* index = nullptr;
        ASSERT_EQ(openFile(home, file, &index), 0);
        EXPECT_EQ(putRow(index, nullptr, "key", value), 0);
    }
    std::string row(const QByteArray& home, const QByteArray& file)
    {
        BDBIndex* index = nullptr;
        EXPECT_EQ(openFile(home, file, &index), 0);
        return index == nullptr ? "(not open)" : rowOf(index, nullptr, "key");
    }

    void close(const QByteArray& home) { lockAndRemove(home + '|'); }

    /** Closes the environment, once its checkpoints are through, so that its files stay as they are. */
    std::map<std::string, std::string> closedContent(const QByteArray& home)
    {
        close(home);
        return contentsOf(home.toStdString());
    }

    void expectRefusedFile(const QByteArray& home, const QByteArray& file, int rc)
    {
        (void)openedEnv(home);
        LogCapture log(LogWarn);
        BDBIndex* index = nullptr;
        EXPECT_EQ(openFile(home, file, &index), 12) << file.toStdString();
        EXPECT_EQ(index, nullptr);
        EXPECT_THAT(ownLines(log), ElementsAre("[CRIT] bdb # Failed to open DB dbpath: " + file.toStdString() +
                                               " dbname data rc " + std::to_string(rc) + " flags 289"));
    }

    void expectRefused(const QByteArray& home, int rc)
    {
        const auto before = contentsOf(home.toStdString());
        LogCapture log;
        EnvironmentUse use;
        EXPECT_EQ(open(home, &use), 3);
        EXPECT_EQ(use.env(), nullptr);
        EXPECT_THAT(ownLines(log), ElementsAre("[CRIT] bdb # Failed to open env path: " + home.toStdString() +
                                               " id env::" + home.toStdString() + " rc " + std::to_string(rc)));
        EXPECT_EQ(contentsOf(home.toStdString()), before);
    }

    /** The same for a directory that an open environment writes to. */
    void expectHeld(const QByteArray& home)
    {
        LogCapture log(LogWarn);
        EnvironmentUse use;
        EXPECT_EQ(open(home, &use), 3);
        EXPECT_THAT(ownLines(log), ElementsAre("[CRIT] bdb # Failed to open env path: " + home.toStdString() +
                                               " id env::" + home.toStdString() + " rc 11"));
    }

    /** Makes the DB_CONFIG of an environment. */
    static void configure(const QByteArray& home, const std::string& line)
    {
        std::ofstream(home.toStdString() + "/DB_CONFIG") << line << '\n';
    }

    /** Opens `other`, whose directory the DB_CONFIG in `home` names: the latter stays closed, and harms nothing. */
    void expectRefusedForTheOther(const QByteArray& home, const QByteArray& other)
    {
        put(other, "orders", "other's");
        expectRefused(home, EBUSY);
        const auto before = closedContent(other);
        expectRefused(home, EBUSY);
        EXPECT_EQ(contentsOf(other.toStdString()), before);
        EXPECT_EQ(row(other, "orders"), "other's");
    }

    void link(const QByteArray& target, const std::string& name) const
    {
        const std::string path = temp_.file(name);
        const std::string fresh = path + ".new";
        ASSERT_EQ(symlink(target.constData(), fresh.c_str()), 0);
        ASSERT_EQ(rename(fresh.c_str(), path.c_str()), 0); // as `ln -sfn` does it
    }
};

TEST_F(EnvironmentHome, AFileInAClosedEnvironmentBelowIsRefused)
{
    const QByteArray top = makeHome("top");
    const QByteArray shop = makeHome("top/shop");
    put(shop, "orders", "shop's");
    const auto before = closedContent(shop);
    for (const char* file : {"shop/orders", "shop/new", "shop/sub/new"})
        expectRefusedFile(top, file, EBUSY);
    EXPECT_EQ(contentsOf(shop.toStdString()), before);
    put(top, "orders", "top's"); // goes on
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
    expectRefusedFile(top, "shop/orders", EBUSY);       // open elsewhere
    EXPECT_FALSE(fs::exists(shop.toStdString() + "/orders"));
    other.kill();
    fs::remove(shop.toStdString() + "/log.0000000001");

    (void)openedEnv(shop);
    expectRefusedFile(top, "shop/orders", EBUSY); // open here
    EXPECT_FALSE(fs::exists(shop.toStdString() + "/orders"));
    put(shop, "orders", "shop's");
    EXPECT_EQ(row(shop, "orders"), "shop's");
}

TEST_F(EnvironmentHome, LinksIntoAnotherEnvironmentAreRefused)
{
    const QByteArray one = makeHome("one");
    const QByteArray two = makeHome("two");
    put(two, "orders", "two's");
    makeHome("two/deep");
    const auto before = closedContent(two);
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
    fs::remove(shop.toStdString() + "/DB_CONFIG"); // its log is not found any more
    expectRefused(shop, EBUSY);
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
    const auto before = contentsOf(shared.toStdString());
    expectRefusedFile(two, "sub/orders", EBUSY);
    expectRefusedFile(two, "sub/new", EBUSY);
    EXPECT_EQ(contentsOf(shared.toStdString()), before);
    EXPECT_EQ(row(one, "sub/orders"), "one's");
}

TEST_F(EnvironmentHome, WithDatabasesOfAnOpenEnvironmentItIsNoEnvironmentOfItsOwn)
{
    const QByteArray top = makeHome("top");
    const QByteArray shop = makeHome("top/shop");
    put(top, "shop/sub/orders", "top's");
    expectHeld(shop);
    expectHeld(shop + "/sub");
    close(top); // what it wrote is on disk from here on
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
        teller.tell(HasFailure() ? 1 : 0);
        (void)pause();
    });
    int failed = 1;
    ASSERT_TRUE(writer.hear(&failed));
    ASSERT_EQ(failed, 0);
    expectRefused(shop, EWOULDBLOCK);
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

TEST_F(EnvironmentHome, FilesOfTheLoaderAreWelcome)
{
    const QByteArray home = makeHome();
    {
        BDBIndex loaded(nullptr, DB_CXX_NO_EXCEPTIONS); // as Berkeley DB's loader makes them: without an environment
        ASSERT_EQ(loaded.open((home + "/orders").constData(), "data", DB_BTREE, DB_CREATE), 0);
        ASSERT_EQ(putRow(&loaded, nullptr, "key", "loaded"), 0);
    }
    EXPECT_EQ(row(home, "orders"), "loaded");
}

TEST_F(EnvironmentHome, WithoutTheLogOfItsDatabasesItIsNoEnvironment)
{
    const QByteArray home = makeHome();
    const QByteArray kept = makeHome("kept");
    put(home, "orders", "1");
    close(home);
    fs::rename(home.toStdString() + "/log.0000000001", kept.toStdString() + "/log.0000000001");
    expectRefused(home, EBUSY);
    fs::rename(kept.toStdString() + "/log.0000000001", home.toStdString() + "/log.0000000001");
    EXPECT_EQ(row(home, "orders"), "1");
}

TEST_F(EnvironmentHome, AnUnfinishedCopyIsNone)
{
    const QByteArray copy = makeHome("copy");
    const std::string list = copy.toStdString() + "/BackupFiles.list.tmp";
    put(copy, "orders", "1");
    close(copy);
    std::ofstream(list).flush();
    expectRefused(copy, EBUSY);
    fs::remove(copy.toStdString() + "/log.0000000001"); // cut off before its log
    fs::remove(copy.toStdString() + "/orders");
    expectRefused(copy, EBUSY);
    fs::remove(list);
    put(copy, "orders", "1");
}

TEST_F(EnvironmentHome, TheMarkerAndTheListOfABackupDoNotKeepItFromBeingOne)
{
    const QByteArray home = makeHome();
    put(home, "orders", "1");
    close(home);
    for (const char* name : {"/BackupInProgress.tmp", "/BackupFiles.list"})
        std::ofstream(home.toStdString() + name).flush();
    EXPECT_EQ(row(home, "orders"), "1");
}

TEST_F(EnvironmentHome, EnvironmentsBelowDoNotKeepItFromBeingOne)
{
    const QByteArray shop = makeHome("top/shop");
    put(shop, "orders", "shop's");
    close(shop);
    put(makeHome("top"), "orders", "top's");
    EXPECT_EQ(row(shop, "orders"), "shop's");
}

TEST_F(EnvironmentHome, ALinkThatIsSwitchedTakesNothingElsewhere)
{
    const QByteArray one = makeHome("one");
    const QByteArray two = makeHome("two");
    put(two, "orders", "two's");
    const auto before = closedContent(two);
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
    const QByteArray other = makeHome("other");
    put(other, "orders", "other's");
    const auto before = closedContent(other);
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

TEST_F(EnvironmentHome, WhatIsNoRegularFileIsNoTable)
{
    const QByteArray home = makeHome();
    put(home, "orders", "1");
    const fs::path path = home.toStdString();
    ASSERT_EQ(mkfifo((path / "fifo").c_str(), 0600), 0);
    fs::create_symlink("/dev/null", path / "null");
    fs::create_directory(path / "directory");
    auto opening = std::async(std::launch::async, [&] {
        expectRefusedFile(home, "fifo", EINVAL);
        expectRefusedFile(home, "null", EINVAL);
        expectRefusedFile(home, "directory", EISDIR);
    });
    if (opening.wait_for(std::chrono::seconds(60)) != std::future_status::ready) {
        ADD_FAILURE() << "an opening waits";
        std::_Exit(1); // it could not be ended
    }
    opening.get();
    EXPECT_TRUE(fs::is_fifo(path / "fifo"));
    EXPECT_TRUE(fs::is_symlink(path / "null"));
    put(home, "stock", "2");
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
    expectRefused(two, EBUSY); // what is there is in the log of one
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
    for (int i = 0; i < 10; ++i) { // the environment has room for no more
        LogCapture log;
        const QByteArray name = "shop" + QByteArray::number(i);
        const std::string path = (top + '/' + name).toStdString();
        std::atomic<bool> done = false;
        auto outer = std::async(std::launch::async, [&] {
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

TEST_F(EnvironmentHome, WhereNoFileCanBeMadeItIsRefused)
{
    // A file system without nameless files that lets nobody make files; the rights of root would do.
    LogCapture log(LogWarn);
    EnvironmentUse use;
    EXPECT_EQ(open("/sys/kernel", &use), 3);
    const auto lines = ownLines(log);
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_THAT(lines[0], testing::StartsWith("[CRIT] bdb # Failed to open env path: /sys/kernel "));
}

/** As a process that is not root, which may do everything; in a directory that it may enter. */
class UnwritableDirectory : public EnvironmentHome {
protected:
    UnwritableDirectory() { fs::permissions(temp_.path(), fs::perms(0755)); }

    static void becomeNobody()
    {
        if (geteuid() == 0) {
            ASSERT_EQ(setgid(Nobody), 0);
            ASSERT_EQ(setuid(Nobody), 0);
        }
    }
};

TEST_F(UnwritableDirectory, IsNoEnvironment)
{
    const QByteArray home = makeHome();
    fs::permissions(home.toStdString(), fs::perms(0555));
    ChildProcess child([&](const auto&) {
        becomeNobody();
        expectRefused(home, EACCES);
    });
    EXPECT_EQ(child.waitForExit(), 0);
}

TEST_F(UnwritableDirectory, IsNoEnvironmentEitherWhenItsLogCannotBeWritten)
{
    const QByteArray home = makeHome();
    ChildProcess writer([&](const auto&) {
        put(home, "orders", "1");
        close(home);
    });
    ASSERT_EQ(writer.waitForExit(), 0);
    fs::permissions(home.toStdString(), fs::perms(0777));
    fs::permissions(home.toStdString() + "/log.0000000001", fs::perms(0444)); // whose directory alone was handed over
    ChildProcess child([&](const auto&) {
        becomeNobody();
        expectRefused(home, EACCES);
    });
    EXPECT_EQ(child.waitForExit(), 0);
    fs::permissions(home.toStdString() + "/log.0000000001", fs::perms(0644));
    ChildProcess reader([&](const auto&) { EXPECT_EQ(row(home, "orders"), "1"); });
    EXPECT_EQ(reader.waitForExit(), 0);
}

TEST_F(UnwritableDirectory, IsNoPlaceForLogFilesOfDbConfig)
{
    const QByteArray home = makeHome();
    fs::permissions(home.toStdString(), fs::perms(0777));
    fs::permissions(makeHome("logs").toStdString(), fs::perms(0555));
    configure(home, "set_lg_dir " + temp_.file("logs"));
    ChildProcess child([&](const auto&) {
        becomeNobody();
        expectRefused(home, EACCES);
    });
    EXPECT_EQ(child.waitForExit(), 0);
}

TEST_F(EnvironmentHome, HasContentWithALogOrADatabase)
{
    const QByteArray home = makeHome();
    BDBEnv* env = openedEnv(home);
    EXPECT_FALSE(env->hasContent());
    {
        LogCapture log;
        BDBIndex* index = nullptr;
        EXPECT_EQ(openFile(home, QByteArray("cut\0off", 7), &index), 12);
    }
    EXPECT_FALSE(env->hasContent());
    put(home, "orders", "1");
    EXPECT_TRUE(env->hasContent());
    close(home);
    EXPECT_TRUE(openedEnv(home)->hasContent());
}

} // namespace
