// The names under which requests reach an environment.
#include "storage/bdbregistry.h"

#include "loglines.h"
#include "registryfixture.h"
#include "support/logcapture.h"
#include "support/waituntil.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <string>

#include <sys/stat.h>
#include <unistd.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

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
        EXPECT_EQ(openedEnv(link), env); // the link is gone
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
    EXPECT_NE(Registry::lockEnv(&registry_, spelling, false), nullptr); // not remembered, but found
    Registry::unlockEnv(&registry_, spelling);
}

} // namespace
