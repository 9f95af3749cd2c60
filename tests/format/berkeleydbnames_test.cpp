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

TEST(BerkeleyDbNames, RefusedAreAlsoTheSettingsAndTheLogFiles)
{
    for (const char* name : {"__db", "__db.001", "DB_CONFIG", "log.0000000001", "log.5"})
        EXPECT_STREQ(BerkeleyDbNames::refusal(name),
                     "DB_CONFIG, \"log.\" with digits, and names that begin with \"__db\" belong to Berkeley DB")
            << name;
    for (const char* name : {"", "DB_CONFIG2", "db_config", "log.events", "orders", "__log__"})
        EXPECT_EQ(BerkeleyDbNames::refusal(name), nullptr) << name;
}

TEST(BerkeleyDbNames, TheProbeIsNoTablesName)
{
    EXPECT_TRUE(BerkeleyDbNames::isInternal(BerkeleyDbNames::ProbeFile));
}

} // namespace
