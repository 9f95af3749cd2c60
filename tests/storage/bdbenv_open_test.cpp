// Opening an environment: what it creates and locks, and how it fails.
#include "storage/bdbenv.h"

#include "childprocess.h"
#include "descriptorlimit.h"
#include "directoryuse.h"
#include "rows.h"
#include "storage/bdbindex.h"
#include "support/directorycontents.h"
#include "support/logcapture.h"
#include "support/tempenv.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <string>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

namespace fs = std::filesystem;

/** The result of opening an environment in `home`, which is closed again immediately. */
int openResult(const QByteArray& home)
{
    BDBEnv env(16, DB_CXX_NO_EXCEPTIONS);
    return env.open(home);
}

// Berkeley DB leaves an object without its inner part when it is given wrong flags, as it does when memory runs out.
constexpr u_int32_t UnknownFlag = 0x1;

TEST(BDBEnvOpen, MakesNoFilesButTheLog)
{
    TempEnv env;
    (void)env.index("orders");
    EXPECT_THAT(namesIn(env.path()), ElementsAre("log.0000000001", "orders"));
}

TEST(BDBEnvOpen, FailsWithoutADirectory)
{
    const TempDir temp;
    std::ofstream(temp.file("file")) << "text";
    EXPECT_EQ(openResult(temp.bytes() + "/missing"), ENOENT);
    EXPECT_EQ(openResult(temp.bytes() + "/file"), ENOTDIR);
    EXPECT_EQ(openResult(""), ENOENT);                                     // not the working directory
    EXPECT_EQ(openResult(temp.bytes() + QByteArray("\0tail", 5)), ENOENT); // not the part before the zero byte
    EXPECT_EQ(openResult(QByteArray("\0", 1)), ENOENT);
    EXPECT_THAT(namesIn(temp.path()), ElementsAre("file")); // nothing was created
    EXPECT_FALSE(fs::exists("log.0000000001"));
}

TEST(BDBEnvOpen, FailsWithTheResultOfTheLibraryAndReleasesTheDirectory)
{
    // In a child process, as Berkeley DB leaks some memory when it cannot read its log.
    ChildProcess child([](const auto&) {
        const TempDir temp;
        std::ofstream(temp.file("log.0000000001")) << "this is no log of Berkeley DB, although it is named like one";
        LogCapture log;
        EXPECT_EQ(openResult(temp.bytes()), DB_RUNRECOVERY);
        EXPECT_TRUE(log.contains("[ERROR] bdb ")) << log.text(); // Berkeley DB logs the reason
        EXPECT_TRUE(isDirectoryFree(temp.path()));
        fs::remove(temp.file("log.0000000001"));
        EXPECT_EQ(openResult(temp.bytes()), 0);
    });
    EXPECT_EQ(child.waitForExit(), 0);
}

TEST(BDBEnvOpen, FailsWhenTheObjectCouldNotBeMadeWhole)
{
    const TempDir directory;
    BDBEnv env(16, DB_CXX_NO_EXCEPTIONS | UnknownFlag);
    EXPECT_EQ(env.open(QByteArray::fromStdString(directory.path())), ENOMEM);
    EXPECT_THAT(namesIn(directory.path()), IsEmpty());
    EXPECT_TRUE(isDirectoryFree(directory.path()));
}

TEST(BDBEnvOpen, HoldsTheDirectoryUntilItIsDestroyed)
{
    TempEnv env;
    EXPECT_FALSE(isDirectoryFree(env.path()));
    EXPECT_EQ(openResult(QByteArray::fromStdString(env.path())), EWOULDBLOCK);
    EXPECT_FALSE(isDirectoryFree(env.path())); // the attempt did not release the lock
    EXPECT_EQ(putRow(env.index("orders"), nullptr, "key", "value"), 0);
    const std::string path = env.path();
    env.close();
    EXPECT_TRUE(isDirectoryFree(path));
    EXPECT_EQ(openResult(QByteArray::fromStdString(path)), 0);
}

TEST(BDBEnvOpen, IsRefusedWithoutDescriptorsToSpare)
{
    const TempDir temp;
    ChildProcess child([&](const auto&) {
        limitDescriptors(16); // one is for the directory
        EXPECT_EQ(openResult(temp.bytes()), EMFILE);
        EXPECT_THAT(namesIn(temp.path()), IsEmpty());
        limitDescriptors(17);
        EXPECT_EQ(openResult(temp.bytes()), 0);
    });
    EXPECT_EQ(child.waitForExit(), 0);
}

TEST(BDBEnvOpenDatabase, FailsWithAHandleThatCouldNotBeMadeWhole)
{
    TempEnv env;
    BDBIndex index(env.get(), DB_CXX_NO_EXCEPTIONS | UnknownFlag << 7);
    EXPECT_EQ(env->openDatabase(&index, "t", "meta", DB_CREATE | DB_THREAD | DB_AUTO_COMMIT), ENOMEM);
    EXPECT_FALSE(fs::exists(env.path() + "/t"));
}

} // namespace
