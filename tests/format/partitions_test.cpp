#include "format/partitions.h"

#include <gtest/gtest.h>

#include <string>

TEST(Partitions, AHashKeyBelongsToByteThreeOfItsDigest)
{
    EXPECT_EQ(Partitions::ofHashKey("abc"), 0x98U); // 900150983cd2...
    EXPECT_EQ(Partitions::ofHashKey(""), 0xd9U);    // d41d8cd9...
    EXPECT_EQ(Partitions::ofHashKey("abc", 16), 8U);
}

TEST(Partitions, ARecordMayBeInThePartitionOfItsHashKeyOnly)
{
    EXPECT_TRUE(Partitions::mayHold(0x98, "0003abc2012-01"));
    EXPECT_TRUE(Partitions::mayHold(0x98, "0003abc"));
    EXPECT_FALSE(Partitions::mayHold(0x97, "0003abc2012-01"));
    EXPECT_FALSE(Partitions::mayHold(0x98, "0004abc2012-01"));
}

TEST(Partitions, ALongHashKeyHasFiveDigits)
{
    const std::string hash(12'345, 'x');
    EXPECT_TRUE(Partitions::mayHold(Partitions::ofHashKey(hash), "12345" + hash + "range"));
}

TEST(Partitions, NothingHoldsWhatIsNoRecordKey)
{
    for (const char* key : {"", "000", "00x3abc", " 003abc", "+003abc", "0009abc"}) {
        for (unsigned partition = 0; partition < Partitions::Count; ++partition)
            EXPECT_FALSE(Partitions::mayHold(partition, key)) << key;
    }
}
