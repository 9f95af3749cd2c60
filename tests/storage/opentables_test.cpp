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

TEST(OpenTables, AreNamedInOrderWithEachCreatedTableOnce)
{
    TempEnv env;
    OpenTables tables;
    tables.noteCreated("t"); // has nothing open
    EXPECT_TRUE(tables.names().isEmpty());
    EXPECT_TRUE(tables.add("t", 0, env.index("t_00.db")));
    EXPECT_TRUE(tables.add("a/b", OpenTables::Meta, env.index("u", "meta")));
    EXPECT_FALSE(tables.add("t", OpenTables::Meta, env.index("t", "meta")));
    EXPECT_TRUE(tables.add("never", 3, env.index("n_03.db")));
    EXPECT_TRUE(tables.names().isEmpty());
    tables.noteCreated("t");
    tables.noteCreated("a/b");
    EXPECT_EQ(tables.names(), QByteArrayList({"a/b", "t"}));
}

TEST(OpenTables, ForgetADatabaseAndWithTheLastOneTheTable)
{
    TempEnv env;
    BDBIndex* const meta = env.index("t", "meta");
    OpenTables tables;
    tables.remove("t", 0);
    tables.add("t", OpenTables::Meta, meta);
    tables.add("t", 0, env.index("t_00.db"));
    tables.noteCreated("t");
    tables.remove("t", 0);
    EXPECT_EQ(tables.find("t", 0), nullptr);
    EXPECT_EQ(tables.find("t", OpenTables::Meta), meta);
    EXPECT_EQ(tables.names(), QByteArrayList({"t"}));
    tables.remove("t", OpenTables::Meta);
    EXPECT_TRUE(tables.names().isEmpty());
    EXPECT_TRUE(tables.add("t", OpenTables::Meta, meta));
    EXPECT_TRUE(tables.names().isEmpty()) << "of a table that may be created anew";
}

} // namespace
