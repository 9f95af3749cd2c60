#ifndef QUORVA_TESTS_STORAGE_MAINTENANCESUPPORT_H
#define QUORVA_TESTS_STORAGE_MAINTENANCESUPPORT_H

#include "storage/settings.h"
#include "support/logcapture.h"
#include "support/tempenv.h"

#include <gtest/gtest.h>

#include <memory>

/** Restores the process-wide settings when a test ends. */
struct RestoredSettings {
    ~RestoredSettings()
    {
        Settings::setBackupDisabled(0);
        Settings::setStatLevel(0);
    }
};

/**
 * An environment whose own thread has completed its first checkpoint: if that one ran only after a test's writes, it
 * would leave the test's checkpoint nothing to do.
 */
inline std::unique_ptr<TempEnv> quietEnv()
{
    const LogCapture opening(LogInfo);
    auto env = std::make_unique<TempEnv>();
    EXPECT_TRUE(opening.waitFor("Done txn_checkpoint"));
    return env;
}

#endif
