#include "base/paths.h"

#include <gtest/gtest.h>

namespace {

TEST(IsWithin, ADirectoryAndAllBelowIt)
{
    EXPECT_TRUE(Base::isWithin("/srv/shop", "/srv/shop"));
    EXPECT_TRUE(Base::isWithin("/srv/shop/a/b", "/srv/shop"));
    EXPECT_TRUE(Base::isWithin("/srv", "/"));
}

TEST(IsWithin, NeitherItsParentsNorNamesThatBeginAlike)
{
    EXPECT_FALSE(Base::isWithin("/srv", "/srv/shop"));
    EXPECT_FALSE(Base::isWithin("/srv/shop2", "/srv/shop"));
    EXPECT_FALSE(Base::isWithin("/", "/srv"));
}

} // namespace
