#include "storage/bdbregistry.h"

#include "childprocess.h"
#include "loglines.h"
#include "registryfixture.h"
#include "rows.h"
#include "support/blockedcall.h"
#include "support/waituntil.h"

#include <gmock/gmock.h>

#include <sys/stat.h>

#include <fstream>
#include <memory>
#include <set>
#include <thread>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class OpenEnvTest : public RegistryFixture {};

TEST_F(OpenEnvTest, OpensAndRegistersAnEnvironment)
{
    const QByteArray home = makeHome();
    LogCapture log;
    EnvironmentUse use;
    EXPECT_EQ(open(home, &use), 0);
    ASSERT_NE(use.env(), nullptr);
    EXPECT_THAT(ownLines(log),
                ElementsAre("[DEBUG] Adding new env path " + home.toStdString() + " id env::" + home.toStdString()));
    EXPECT_EQ(registry_.names(), (QHash<QString, int>{{RegistryKeys::canonical(RegistryKeys::environment(home)), 1}}));
    EXPECT_EQ(registry_.locks().keys(), registry_.names().keys());
    EXPECT_EQ(registry_.getObject(1, BDBEnvType), static_cast<BDBObject*>(use.env()));
    const char* opened = nullptr;
    EXPECT_EQ(use.env()->get_home(&opened), 0);
    EXPECT_EQ(QByteArray(opened), home);
}

TEST_F(OpenEnvTest, SecondOpenFindsTheSameEnvironmentAndOpensNothing)
{
    const QByteArray home = makeHome();
    EnvironmentUse first;
    ASSERT_EQ(open(home, &first), 0);
    LogCapture log;
    for (const int create : {1, 0}) {
        EnvironmentUse second;
        EXPECT_EQ(open(home, &second, create), 0);
        EXPECT_EQ(second.env(), first.env());
    }
    EXPECT_THAT(ownLines(log), IsEmpty());
    EXPECT_EQ(registry_.names().size(), 1);
}

TEST_F(OpenEnvTest, HandsTheEnvironmentsAccessLockOutWithIt)
{
    const QByteArray home = makeHome();
    for (const QByteArray& spelling : {home, home, home + "/."}) { // opened, found, found under another name
        EnvironmentUse use;
        ASSERT_EQ(open(spelling, &use), 0);
        EXPECT_TRUE(use.shareAccess());
        const auto lock = registry_.locks().value(RegistryKeys::canonical(RegistryKeys::environment(home)));
        BlockedCall writer([lock] {
            lock->lockForWrite();
            lock->unlock();
        });
        EXPECT_TRUE(waitUntil([&] { return writer.sleeps(); }));
        use.reset();
        writer.get();
    }
}

TEST_F(OpenEnvTest, WithoutCreateAnUnknownEnvironmentIs3)
{
    const QByteArray home = makeHome();
    EnvironmentUse use(openedEnv(makeHome("other")), std::make_shared<EnvironmentUseCount>(), nullptr);
    LogCapture log;
    EXPECT_EQ(open(home, &use, 0), 3);
    EXPECT_EQ(use.env(), nullptr);
    EXPECT_THAT(ownLines(log), ElementsAre("[CRIT] bdb # Failed to load env with id: env::" + home.toStdString()));
    EXPECT_TRUE(std::filesystem::is_empty(home.toStdString()));
    EXPECT_EQ(registry_.names().size(), 1);
}

TEST_F(OpenEnvTest, EnvironmentThatCannotBeOpenedIs3)
{
    std::ofstream(temp_.file("file")) << "text";
    const std::string missing = temp_.file("missing");
    const std::string file = temp_.file("file");
    const std::string cut = temp_.file("cut");
    struct Case {
        QByteArray home;
        std::string line;
    };
    const std::vector<Case> cases = {
        {QByteArray::fromStdString(missing), missing + " id env::" + missing + " rc 2"},
        {QByteArray::fromStdString(file), file + " id env::" + file + " rc 20"},
        {QByteArray(""), " id env:: rc 2"},
        {QByteArray::fromStdString(cut) + QByteArray("\0tail", 5), cut}, // a line ends at a zero byte
    };
    for (const Case& c : cases) {
        LogCapture log;
        EnvironmentUse use;
        EXPECT_EQ(open(c.home, &use), 3);
        EXPECT_EQ(use.env(), nullptr);
        EXPECT_THAT(ownLines(log), ElementsAre("[CRIT] bdb # Failed to open env path: " + c.line));
    }
    EXPECT_TRUE(registry_.names().isEmpty());
    EXPECT_TRUE(registry_.locks().isEmpty());
    EXPECT_FALSE(std::filesystem::exists(missing)); // a mistyped name leaves nothing behind
    EXPECT_FALSE(std::filesystem::exists(cut));
}

TEST_F(OpenEnvTest, DirectoryThatAppearsLaterCanBeOpened)
{
    const QByteArray home = temp_.bytes() + "/later";
    EnvironmentUse use;
    {
        LogCapture log;
        EXPECT_EQ(open(home, &use), 3);
    }
    makeHome("later");
    EXPECT_EQ(open(home, &use), 0);
    EXPECT_NE(use.env(), nullptr);
}

TEST_F(OpenEnvTest, DirectoryOfAnotherProcessIs3UntilThatEnds)
{
    const QByteArray home = makeHome();
    ChildProcess holder([&](const ChildProcess::Teller& teller) {
        teller.tell(openedEnv(home) != nullptr ? 0 : 1);
        (void)pause();
    });
    int failed = 1;
    ASSERT_TRUE(holder.hear(&failed));
    ASSERT_EQ(failed, 0);
    EnvironmentUse use;
    {
        LogCapture log;
        EXPECT_EQ(open(home, &use), 3);
        EXPECT_THAT(ownLines(log), ElementsAre("[CRIT] bdb # Failed to open env path: " + home.toStdString() +
                                               " id env::" + home.toStdString() + " rc 11"));
    }
    holder.kill();
    EXPECT_EQ(open(home, &use), 0);
}

TEST_F(OpenEnvTest, FullRegistryLeavesTheEnvironmentOpenAndOwnedByNobody)
{
    for (int descriptor = 1; descriptor < 8; ++descriptor)
        ASSERT_EQ(registry_.addDesc(&quota_), descriptor);
    const QByteArray home = makeHome();
    LogCapture log;
    EnvironmentUse use;
    EXPECT_EQ(open(home, &use), 2);
    EXPECT_THAT(ownLines(log),
                ElementsAre("[DEBUG] Adding new env path " + home.toStdString() + " id env::" + home.toStdString(),
                            "[CRIT] bdb # Failed to add env with id: env::" + home.toStdString()));
    ASSERT_NE(use.env(), nullptr);
    EXPECT_TRUE(registry_.names().isEmpty());
    EXPECT_TRUE(registry_.locks().isEmpty());
    const std::unique_ptr<BDBEnv> owned(use.env()); // ours to close, as nobody else will
    EXPECT_EQ(owned->txn_checkpoint(0, 0, 0), 0);
    EXPECT_FALSE(isDirectoryFree(home));
    EnvironmentUse second;
    EXPECT_EQ(open(home, &second), 3); // the directory is taken
}

TEST_F(OpenEnvTest, RegistryOfTheServerHoldsOneLessThanItsSlots)
{
    BDBObjTable registry(8192);
    for (int descriptor = 1; descriptor < 8191; ++descriptor)
        ASSERT_EQ(registry.addDesc(&quota_), descriptor);
    const QByteArray last = makeHome("last");
    const QByteArray tooMany = makeHome("too many");
    EnvironmentUse use;
    EXPECT_EQ(Registry::openEnv(&registry, RegistryKeys::environment(last), &use, TableCapacity, 1, last), 0);
    EXPECT_EQ(registry.getObject(8191, BDBEnvType), static_cast<BDBObject*>(use.env()));
    use.reset();
    LogCapture log;
    EXPECT_EQ(Registry::openEnv(&registry, RegistryKeys::environment(tooMany), &use, TableCapacity, 1, tooMany), 2);
    delete use.env();
    Registry::removeEnv(&registry, last);
}

TEST_F(OpenEnvTest, EnvironmentGetsItsTableCapacity)
{
    EnvironmentUse use;
    const QByteArray home = makeHome();
    ASSERT_EQ(Registry::openEnv(&registry_, RegistryKeys::environment(home), &use, 3, 1, home), 0);
    EXPECT_EQ(use.env()->addDesc(&quota_), 1);
    EXPECT_EQ(use.env()->addDesc(&quota_), 2);
    EXPECT_EQ(use.env()->addDesc(&quota_), -1);
}

TEST_F(OpenEnvTest, EverySpellingOfADirectoryIsOneEnvironment)
{
    const QByteArray home = makeHome();
    makeHome("home/sub");
    ASSERT_EQ(symlink(home.constData(), temp_.file("link").c_str()), 0);
    BDBEnv* env = openedEnv(home);
    LogCapture log;
    for (const QByteArray& spelling :
         {home + "/", home + "//", temp_.bytes() + "/./home", temp_.bytes() + "//home", home + "/sub/..",
          temp_.bytes() + "/link", temp_.bytes() + "/link/", temp_.bytes() + "/link/sub/.."}) {
        for (int i = 0; i < 2; ++i) { // resolved, and remembered
            EnvironmentUse use;
            EXPECT_EQ(open(spelling, &use), 0) << spelling.toStdString();
            EXPECT_EQ(use.env(), env) << spelling.toStdString();
        }
    }
    EXPECT_THAT(ownLines(log), IsEmpty());
    for (const int descriptor : registry_.names())
        EXPECT_EQ(descriptor, 1);
    EXPECT_EQ(registry_.locks().size(), registry_.names().size());
    for (const auto& lock : registry_.locks())
        EXPECT_EQ(lock, registry_.locks().cbegin().value());
}

TEST_F(OpenEnvTest, ALinkThatIsSwitchedLeadsToTheOtherDirectorySoon)
{
    const QByteArray one = makeHome("one");
    const QByteArray two = makeHome("two");
    const QByteArray link = temp_.bytes() + "/link";
    ASSERT_EQ(symlink(one.constData(), link.constData()), 0);
    BDBEnv* env = openedEnv(link);
    EXPECT_EQ(openedEnv(link), env); // remembered
    ASSERT_EQ(unlink(link.constData()), 0);
    const auto resolved = registry_.spellings().value(RegistryKeys::environment(link));
    EXPECT_TRUE(waitUntil([&] {
        EXPECT_EQ(openedEnv(link), env); // leads nowhere
        return registry_.spellings().value(RegistryKeys::environment(link)) > resolved;
    }));
    ASSERT_EQ(symlink(two.constData(), link.constData()), 0);
    EXPECT_TRUE(waitUntil([&] { return openedEnv(link) != env; }));
    EXPECT_EQ(openedEnv(link), openedEnv(two));
    EXPECT_EQ(openedEnv(one), env);

    const auto lock = Registry::lockEnv(&registry_, link + "|t", true);
    EXPECT_EQ(lock, registry_.locks().value(RegistryKeys::canonical(RegistryKeys::environment(two))));
    lock->unlock();
    lockAndRemove(link + "|t");
    EXPECT_TRUE(isDirectoryFree(two));
    EXPECT_FALSE(isDirectoryFree(one));
    EXPECT_EQ(registry_.names().keys(), QStringList{RegistryKeys::canonical(RegistryKeys::environment(one))});
}

TEST_F(OpenEnvTest, MessagesShowTheSpellingOfTheRequest)
{
    const std::string link = temp_.file("link");
    const QByteArray home = makeHome();
    ASSERT_EQ(symlink(home.constData(), link.c_str()), 0);
    LogCapture log;
    BDBEnv* env = openedEnv(QByteArray::fromStdString(link));
    EXPECT_THAT(ownLines(log), ElementsAre("[DEBUG] Adding new env path " + link + " id env::" + link));
    EXPECT_EQ(openedEnv(home), env); // opened by its link, found by its own name
}

TEST_F(OpenEnvTest, DirectoriesOfDifferentNamesAreDifferentEnvironments)
{
    BDBEnv* first = openedEnv(makeHome("first"));
    BDBEnv* second = openedEnv(makeHome("second"));
    BDBEnv* inFirst = openedEnv(makeHome("first/inner"));
    EXPECT_EQ((std::set<BDBEnv*>{first, second, inFirst}).size(), 3U);
    EXPECT_EQ(registry_.names().size(), 3);
    EXPECT_EQ(registry_.locks().size(), 3);
}

TEST_F(OpenEnvTest, DirectoriesWhoseBytesAreNoTextAreNotConfused)
{
    // Reachable by links only, as names in requests are text.
    for (const char* name : {"\xff", "\xfe"}) {
        ASSERT_EQ(mkdir(temp_.file(name).c_str(), 0700), 0);
        ASSERT_EQ(symlink(temp_.file(name).c_str(), temp_.file(name[0] == '\xff' ? "one" : "two").c_str()), 0);
    }
    EXPECT_NE(openedEnv(temp_.bytes() + "/one"), openedEnv(temp_.bytes() + "/two"));
}

TEST_F(OpenEnvTest, ManyThreadsOpenOneEnvironmentOnce)
{
    constexpr int Threads = 8;
    const QByteArray home = makeHome();
    std::vector<BDBEnv*> found(Threads, nullptr);
    LogCapture log;
    std::vector<std::thread> threads;
    for (BDBEnv*& env : found)
        threads.emplace_back([&] { env = openedEnv(home); });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_THAT(found, testing::Each(found.front()));
    EXPECT_EQ(log.count("Adding new env path "), 1U);
}

TEST_F(OpenEnvTest, EarlierHoldIsGivenBack)
{
    const QByteArray first = makeHome("first");
    EnvironmentUse use;
    ASSERT_EQ(open(first, &use), 0);
    ASSERT_EQ(open(makeHome("second"), &use), 0);
    lockAndRemove(first); // waits for all holds
    EXPECT_EQ(registry_.names().size(), 1);
}

TEST_F(OpenEnvTest, FailureGivesTheEarlierHoldBack)
{
    const QByteArray home = makeHome();
    EnvironmentUse use;
    ASSERT_EQ(open(home, &use), 0);
    LogCapture log;
    EXPECT_EQ(open(temp_.bytes() + "/missing", &use), 3);
    EXPECT_EQ(use.env(), nullptr);
    lockAndRemove(home);
}

TEST_F(OpenEnvTest, NeverMoreThan65536NamesAreRemembered)
{
    const QByteArray home = makeHome();
    BDBEnv* env = openedEnv(home);
    QByteArray spelling = home;
    for (qsizetype i = registry_.names().size(); i < 65536; ++i)
        registry_.names().insert("env::" + QString::number(i), 1);
    for (int i = 0; i < 3; ++i) {
        spelling += '/';
        EXPECT_EQ(openedEnv(spelling), env);
    }
    EXPECT_EQ(registry_.names().size(), 65536);
    EXPECT_EQ(registry_.locks().size(), 1);
    EXPECT_NE(Registry::lockEnv(&registry_, spelling, false), nullptr); // not remembered, found all the same
    Registry::unlockEnv(&registry_, spelling);
}

TEST(RegisterEnv, GivesTheEnvironmentADescriptorANameAndALock)
{
    BDBEnv env(16, DB_CXX_NO_EXCEPTIONS);
    BDBObjTable registry(8);
    EXPECT_EQ(Registry::registerEnv(&registry, &env, "env::one"), 1);
    EXPECT_EQ(Registry::registerEnv(&registry, &env, "env::two"), 2);
    EXPECT_EQ(registry.names(), (QHash<QString, int>{{"env::one", 1}, {"env::two", 2}}));
    ASSERT_NE(registry.locks().value("env::one"), nullptr);
    ASSERT_NE(registry.locks().value("env::two"), nullptr);
    EXPECT_NE(registry.locks().value("env::one"), registry.locks().value("env::two"));
    EXPECT_EQ(registry.getObject(2, BDBEnvType), static_cast<BDBObject*>(&env));
}

TEST(RegisterEnv, FullRegistryIsMinusOneAndStaysAsItWas)
{
    BDBEnv env(16, DB_CXX_NO_EXCEPTIONS);
    BDBObjTable registry(2);
    ASSERT_EQ(Registry::registerEnv(&registry, &env, "env::one"), 1);
    LogCapture log;
    EXPECT_EQ(Registry::registerEnv(&registry, &env, "env::two"), -1);
    EXPECT_EQ(registry.names(), (QHash<QString, int>{{"env::one", 1}}));
    EXPECT_EQ(registry.locks().size(), 1);
    EXPECT_THAT(ownLines(log), IsEmpty()); // no databases to tell of; the caller tells the rest
}

} // namespace
