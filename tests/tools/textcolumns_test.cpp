#include "tools/textcolumns.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using Ctl::TextColumns;
using testing::ElementsAre;

TEST(TextColumns, AlignTheirCellsAndEndWithoutBlanks)
{
    TextColumns columns({{"NAME"}, {"COUNT", TextColumns::Align::Right}, {"WHERE"}});
    EXPECT_TRUE(columns.isEmpty());
    columns.add({"a", "1", "here"});
    columns.add({"longer", "123456", ""});
    EXPECT_FALSE(columns.isEmpty());
    EXPECT_THAT(columns.lines(), ElementsAre("NAME     COUNT  WHERE", //
                                             "a            1  here",  //
                                             "longer  123456"));
}

TEST(TextColumns, CountCharactersAndNotBytes)
{
    TextColumns columns({{"A"}, {"B"}});
    columns.add({"t\xc3\xa4\xc3\xa4", "x"});
    columns.add({"four", "y"});
    EXPECT_THAT(columns.lines(), ElementsAre("A     B", "t\xc3\xa4\xc3\xa4   x", "four  y"));
    EXPECT_EQ(Ctl::widthOf("\xf0\x9f\x90\x98 \xe2\x82\xac"), 3U);
}
