#include "tools/suggestion.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

const std::vector<std::string>& words()
{
    static const std::vector<std::string> words{"put", "get", "delete", "delete-table", "describe", "scan"};
    return words;
}

std::string closest(const std::string& word)
{
    return Suggestions::closest(word, words());
}

} // namespace

TEST(Suggestions, FindTheWordThatIsFewestEditsAway)
{
    EXPECT_EQ(closest("putt"), "put");
    EXPECT_EQ(closest("gt"), "get");
    EXPECT_EQ(closest("gte"), "get"); // neighbours swapped
    EXPECT_EQ(closest("delte"), "delete");
    EXPECT_EQ(closest("deletetable"), "delete-table");
    EXPECT_EQ(closest("descrive"), "describe");
    EXPECT_EQ(closest("put"), "put");
}

TEST(Suggestions, FindNothingThatIsTooDifferent)
{
    EXPECT_EQ(closest("got it"), "");
    EXPECT_EQ(closest("flush"), "");
    EXPECT_EQ(closest("scatter"), "");
    EXPECT_EQ(closest(""), "");
    EXPECT_EQ(Suggestions::closest("put", {}), "");
}

TEST(Suggestions, CountNoDashesAmongTheCharactersOfAnOption)
{
    EXPECT_EQ(Suggestions::closest("--lmit", {"--limit", "--max"}), "--limit");
    EXPECT_EQ(Suggestions::closest("--mx", {"--limit", "--max"}), "--max");
    EXPECT_EQ(Suggestions::closest("--xy", {"--limit", "--max"}), "");
}
