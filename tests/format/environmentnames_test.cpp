#include "format/environmentnames.h"

#include <gtest/gtest.h>

namespace {

TEST(EnvironmentNames, InternalIsWhatBeginsLikeBerkeleyDbsOwnFiles)
{
    for (const char* name : {"__db", "__db.001", "__db.rep", "__dbx"})
        EXPECT_TRUE(EnvironmentNames::isInternal(name)) << name;
    for (const char* name : {"", "_db.001", "x__db", "__DB.001", "DB_CONFIG", "log.0000000001"})
        EXPECT_FALSE(EnvironmentNames::isInternal(name)) << name;
}

TEST(EnvironmentNames, ReservedAreAlsoTheSettingsAndTheLogFiles)
{
    for (const char* name : {"__db", "__db.001", "DB_CONFIG", "log.0000000001", "log.5"})
        EXPECT_TRUE(EnvironmentNames::isReserved(name)) << name;
    for (const char* name : {"", "DB_CONFIG2", "db_config", "log.events", "orders", "__log__"})
        EXPECT_FALSE(EnvironmentNames::isReserved(name)) << name;
}

TEST(EnvironmentNames, TheProbeIsNoTablesName)
{
    EXPECT_TRUE(EnvironmentNames::isInternal(EnvironmentNames::ProbeFile));
}

} // namespace
