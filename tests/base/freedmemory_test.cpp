#include "base/freedmemory.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <memory>

#include <malloc.h>

TEST(KeepFreedMemory, MemoryOfTheSizeOfALargeReplyIsNotMappedForEachUse)
{
    constexpr std::size_t Reply = 512 * 1024;
    const auto mappedFor = [](std::size_t bytes) {
        const std::size_t before = mallinfo2().hblks;
        const std::unique_ptr<char[]> memory(new char[bytes]);
        memory[0] = 'x';
        return mallinfo2().hblks - before;
    };
    Base::keepFreedMemory();
    EXPECT_EQ(mappedFor(Reply), 0U);
    // Nor is it returned to the system when it is freed.
    const std::size_t held = mallinfo2().arena;
    EXPECT_EQ(mappedFor(Reply), 0U);
    EXPECT_EQ(mallinfo2().arena, held);
}
