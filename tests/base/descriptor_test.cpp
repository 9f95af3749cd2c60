#include "base/descriptor.h"

#include <gtest/gtest.h>

#include <fcntl.h>

#include <utility>

namespace {

using Base::Descriptor;

Descriptor opened()
{
    return Descriptor(::open("/dev/null", O_RDONLY | O_CLOEXEC));
}

bool isOpen(int number)
{
    return ::fcntl(number, F_GETFD) >= 0;
}

TEST(Descriptor, HasNoneAtFirst)
{
    const Descriptor none;
    EXPECT_FALSE(none.isOpen());
    EXPECT_LT(none.number(), 0);
}

TEST(Descriptor, OfACallThatFailedHasNone)
{
    const Descriptor failed(::open("/dev/null/missing", O_RDONLY | O_CLOEXEC));
    EXPECT_FALSE(failed.isOpen());
    EXPECT_LT(failed.number(), 0);
}

TEST(Descriptor, IsClosedWithTheObject)
{
    int number = -1;
    {
        const Descriptor descriptor = opened();
        number = descriptor.number();
        ASSERT_TRUE(descriptor.isOpen());
        EXPECT_TRUE(isOpen(number));
    }
    EXPECT_FALSE(isOpen(number));
}

TEST(Descriptor, MovesIntoANewObject)
{
    Descriptor first = opened();
    const int number = first.number();
    const Descriptor second(std::move(first));
    EXPECT_EQ(second.number(), number);
    EXPECT_TRUE(isOpen(number));
    EXPECT_FALSE(first.isOpen()); // NOLINT(bugprone-use-after-move): it is what is tested
}

TEST(Descriptor, AssignmentClosesTheFormerOneImmediately)
{
    Descriptor target = opened();
    Descriptor source = opened();
    const int former = target.number();
    const int moved = source.number();
    target = std::move(source);
    EXPECT_EQ(target.number(), moved);
    EXPECT_TRUE(isOpen(moved));
    EXPECT_FALSE(isOpen(former));
    EXPECT_FALSE(source.isOpen()); // NOLINT(bugprone-use-after-move): it is what is tested
}

TEST(Descriptor, AssignmentToItselfKeepsIt)
{
    Descriptor descriptor = opened();
    const int number = descriptor.number();
    Descriptor& same = descriptor;
    descriptor = std::move(same);
    EXPECT_EQ(descriptor.number(), number);
    EXPECT_TRUE(isOpen(number));
}

TEST(Descriptor, AReleasedOneStaysOpen)
{
    int number = -1;
    {
        Descriptor descriptor = opened();
        number = descriptor.release();
        EXPECT_FALSE(descriptor.isOpen());
    }
    EXPECT_TRUE(isOpen(number));
    ::close(number);
}

} // namespace
