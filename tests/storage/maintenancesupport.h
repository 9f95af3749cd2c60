#ifndef QUORVA_TESTS_STORAGE_MAINTENANCESUPPORT_H
#define QUORVA_TESTS_STORAGE_MAINTENANCESUPPORT_H

#include "storage/settings.h"
#include "support/logcapture.h"
#include "support/tempenv.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

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

/**
 * Runs a maintenance thread in a panicked environment, where every cycle fails, until it has logged `failure` that many
 * times. Returns its ERROR lines.
 */
template <typename Thread> std::vector<std::string> linesOfFailures(std::string_view failure, std::size_t times)
{
    // If the first checkpoint of the environment's own thread met the panic, it would end this process.
    const std::unique_ptr<TempEnv> quiet = quietEnv();
    TempEnv& env = *quiet;
    const LogCapture log(LogError);
    (void)env->set_flags(DB_PANIC_ENVIRONMENT, 1);
    {
        Thread thread(env.get(), std::chrono::milliseconds(1));
        EXPECT_TRUE(log.waitFor(failure, times));
        thread.stop();
        thread.waitStopped();
    }
    (void)env->set_flags(DB_PANIC_ENVIRONMENT, 0);
    return log.lines();
}

#endif
