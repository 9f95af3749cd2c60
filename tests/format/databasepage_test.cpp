#include "format/databasepage.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace {

TEST(DatabasePage, EveryKindOfDatabaseIsKnownInBothByteOrders)
{
    for (const std::uint32_t magic : {0x053162U, 0x061561U, 0x042253U, 0x074582U}) {
        EXPECT_TRUE(DatabasePage::isMagic(magic)) << magic;
        EXPECT_TRUE(DatabasePage::isMagic(__builtin_bswap32(magic))) << magic;
    }
}

TEST(DatabasePage, OtherNumbersAreNoDatabases)
{
    for (const std::uint32_t number : {0U, 0x040988U, 0x053163U, 0x05316200U, 0xffffffffU})
        EXPECT_FALSE(DatabasePage::isMagic(number)) << number;
}

} // namespace
