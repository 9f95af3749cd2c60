#include "lockholder.h"
#include "startsupport.h"

#include <chrono>
#include <filesystem>
#include <string>

// A single wait of ten seconds for all kinds of holders.
TEST(InstanceLock, SecondServerWaitsTenSecondsForAnyHolderAndGivesUp)
{
    const TempDir directory;
    const std::string served = directory.file("server.lock");
    const std::string fileLocked = directory.file("file.lock");
    const std::string recordLocked = directory.file("record.lock");

    ServerProcess::Setup servedSetup, fileSetup, recordSetup;
    servedSetup.environment["QUORVA_LOCKFILE"] = served;
    fileSetup.environment["QUORVA_LOCKFILE"] = fileLocked;
    recordSetup.environment["QUORVA_LOCKFILE"] = recordLocked;
    ServerProcess holder(servedSetup);
    ASSERT_TRUE(holder.start());
    const LockHolder fileHolder(fileLocked, LockKind::File);
    const LockHolder recordHolder(recordLocked, LockKind::Record);

    const auto start = std::chrono::steady_clock::now();
    ServerProcess second(servedSetup), third(fileSetup), fourth(recordSetup);
    for (ServerProcess* server : {&second, &third, &fourth})
        ASSERT_TRUE(server->launch({"-p0", "-d", server->logPath()}));
    for (ServerProcess* server : {&second, &third, &fourth}) {
        EXPECT_EQ(server->waitForExit(), 255);
        EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
        EXPECT_FALSE(std::filesystem::exists(server->logPath()));
        EXPECT_EQ(server->errorText(), "");
    }
    EXPECT_EQ(ProcFs::read(served), std::to_string(holder.pid()));
    EXPECT_TRUE(serves(&holder));
    EXPECT_EQ(ProcFs::read(fileLocked), "");
    EXPECT_FALSE(isHeld(fileLocked, LockKind::Record)) << "one that gives up leaves nothing locked";
    EXPECT_FALSE(isHeld(recordLocked, LockKind::File));
}
