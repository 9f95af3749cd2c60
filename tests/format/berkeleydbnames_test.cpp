#include "format/berkeleydbnames.h"

#include <gtest/gtest.h>

namespace {

TEST(BerkeleyDbNames, InternalIsWhatBeginsLikeBerkeleyDbsOwnFiles)
{
    for (const char* name : {"__db", "__db.001", "__db.rep", "__dbx"})
        EXPECT_TRUE(BerkeleyDbNames::isInternal(name)) << name;
    for (const char* name : {"", "_db.001", "x__db", "__DB.001", "DB_CONFIG", "log.0000000001"})
        EXPECT_FALSE(BerkeleyDbNames::isInternal(name)) << name;
}

TEST(BerkeleyDbNames, ReservedAreAlsoTheSettingsAndTheLogFiles)
{
    for (const char* name : {"__db", "__db.001", "DB_CONFIG", "log.0000000001", "log.5"})
        EXPECT_TRUE(BerkeleyDbNames::isReserved(name)) << name;
    for (const char* name : {"", "DB_CONFIG2", "db_config", "log.events", "orders", "__log__"})
        EXPECT_FALSE(BerkeleyDbNames::isReserved(name)) << name;
}

TEST(BerkeleyDbNames, TheProbeIsNoTablesName)
{
    EXPECT_TRUE(BerkeleyDbNames::isInternal(BerkeleyDbNames::ProbeFile));
}

} // namespace
