#include "backupcommandfixture.h"

namespace {

/** With DEBUG lines. */
class FlushCommand : public BackupCommand {
protected:
    FlushCommand() : BackupCommand({.arguments = {"-s", "1"}}) {}
};

} // namespace

TEST_F(FlushCommand, HasTheLogForcedToDisk)
{
    expectQuietSuccess(quorvactl({"flush", table()}));
    EXPECT_TRUE(server_.waitForLog("[DEBUG] flushEnv success dbpath " + table() + '\n'));
}
