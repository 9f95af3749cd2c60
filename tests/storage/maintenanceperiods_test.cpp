#include "storage/maintenanceperiods.h"

#include <gtest/gtest.h>

#include <chrono>

namespace {

using namespace std::chrono_literals;

TEST(MaintenancePeriods, AreTheDocumentedOnes)
{
    EXPECT_EQ(MaintenancePeriods::LockDetect, 4s);
    EXPECT_EQ(MaintenancePeriods::Checkpoint, 300s);
    EXPECT_EQ(MaintenancePeriods::CacheFlush, 300s);
    EXPECT_EQ(MaintenancePeriods::StatPrint, 60s);
    EXPECT_EQ(MaintenancePeriods::LogShipping, 300s);
}

} // namespace
