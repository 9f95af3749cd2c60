#ifndef QUORVA_TESTS_SUPPORT_LOCKWAITS_H
#define QUORVA_TESTS_SUPPORT_LOCKWAITS_H

#include "storage/bdbenv.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>

/** How many requests for Berkeley DB's locks in an environment have had to wait. */
inline std::uintmax_t lockWaits(BDBEnv* env)
{
    DB_LOCK_STAT* statistics = nullptr;
    EXPECT_EQ(env->lock_stat(&statistics, 0), 0);
    const std::uintmax_t waits = statistics->st_lock_wait;
    std::free(statistics);
    return waits;
}

#endif
