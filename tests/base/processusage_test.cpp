#include "base/processusage.h"

#include "base/descriptor.h"

#include <gtest/gtest.h>

#include <list>
#include <vector>

#include <fcntl.h>
#include <sys/resource.h>

namespace {

TEST(ProcessUsage, CountsDescriptors)
{
    const std::uint64_t before = Base::processUsage().descriptors;
    EXPECT_GE(before, 1U);
    std::list<Base::Descriptor> opened;
    for (int i = 0; i < 10; ++i)
        opened.emplace_back(::open("/dev/null", O_RDONLY | O_CLOEXEC));
    EXPECT_EQ(Base::processUsage().descriptors, before + 10);
    opened.clear();
    EXPECT_EQ(Base::processUsage().descriptors, before);
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    EXPECT_EQ(Base::processUsage().descriptorLimit, limit.rlim_cur);
}

TEST(ProcessUsage, GrowsWithMemoryAndWork)
{
    const Base::ProcessUsage before = Base::processUsage();
    EXPECT_GT(before.residentBytes, 0U);
    constexpr std::size_t Bytes = 64 << 20;
    std::vector<char> memory(Bytes, 1);
    const Base::ProcessUsage after = Base::processUsage();
    EXPECT_GE(after.residentBytes, before.residentBytes + Bytes / 2);
    EXPECT_EQ(memory[Bytes / 2], 1);
    volatile unsigned work = 0;
    while (Base::processUsage().processorSeconds <= before.processorSeconds)
        work = work + 1;
}

} // namespace
