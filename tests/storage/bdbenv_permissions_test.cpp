// Directories in which the server may not write.
#include "childprocess.h"
#include "environmenthome.h"

#include <filesystem>
#include <string>

#include <unistd.h>

namespace {

namespace fs = std::filesystem;

constexpr uid_t Nobody = 65534;

TEST_F(EnvironmentHome, WhereNoFileCanBeMadeItIsRefused)
{
    // This file system has no unnamed files and lets nobody, not even root, create files.
    LogCapture log(LogWarn);
    EnvironmentUse use;
    EXPECT_EQ(open("/sys/kernel", &use), 3);
    const auto lines = ownLines(log);
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_THAT(lines[0], testing::StartsWith("[CRIT] bdb # Failed to open env path: /sys/kernel "));
}

/** Tests in a process without the rights of root, in a directory that it may enter. */
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
    fs::permissions(home.toStdString() + "/log.0000000001", fs::perms(0444)); // only its directory was handed over
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

} // namespace
