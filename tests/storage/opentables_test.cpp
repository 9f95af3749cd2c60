#include "storage/opentables.h"

#include "support/tempenv.h"

#include <gtest/gtest.h>

namespace {

TEST(OpenTables, FindsWhatWasAddedForTheTableAndNumber)
{
    TempEnv env;
    BDBIndex* const meta = env.index("t", "meta");
    BDBIndex* const first = env.index("t_00.db");
    BDBIndex* const last = env.index("t_ff.db");
    BDBIndex* const other = env.index("u_00.db");
    OpenTables tables;
    EXPECT_EQ(tables.find("t", 0), nullptr);
    tables.add("t", OpenTables::Meta, meta);
    tables.add("t", 0, first);
    tables.add("t", 255, last);
    tables.add("u", 0, other);
    EXPECT_EQ(tables.find("t", OpenTables::Meta), meta);
    EXPECT_EQ(tables.find("t", 0), first);
    EXPECT_EQ(tables.find("t", 1), nullptr);
    EXPECT_EQ(tables.find("t", 255), last);
    EXPECT_EQ(tables.find("u", 0), other);
    EXPECT_EQ(tables.find("u", OpenTables::Meta), nullptr);
    EXPECT_EQ(tables.find("", 0), nullptr);
}

TEST(OpenTables, AreNamedInOrderWithEachTableOnce)
{
    TempEnv env;
    OpenTables tables;
    EXPECT_TRUE(tables.names().isEmpty());
    tables.add("t", 0, env.index("t_00.db"));
    tables.add("a/b", OpenTables::Meta, env.index("u", "meta"));
    tables.add("t", OpenTables::Meta, env.index("t", "meta"));
    EXPECT_EQ(tables.names(), QByteArrayList({"a/b", "t"}));
}

} // namespace
