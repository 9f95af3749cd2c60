#include "tools/replies.h"

#include <gtest/gtest.h>

TEST(IsSuccess, NeedsAnObjectWhoseReturnCodeIs200)
{
    EXPECT_TRUE(Ctl::isSuccess("{\"__rc\":200}"));
    EXPECT_TRUE(Ctl::isSuccess(" {\"Item\":{\"__rc\":400},\"__rc\":200,\"__rcstr\":\"OK\"}\n"));
    for (const char* reply : {"", "{}", "{\"__rc\":400}", "{\"__rc\":null}", "{\"__rc\":[200]}", "{\"__rc\":2000}",
                              "{\"a\":{\"__rc\":200}}", "[200]", "200", "{\"__rc\":200", "OK"})
        EXPECT_FALSE(Ctl::isSuccess(reply)) << reply;
}
