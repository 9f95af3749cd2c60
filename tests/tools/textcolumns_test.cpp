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

TEST(TextColumns, MayHaveARuleBelowTheTitles)
{
    TextColumns columns({{"NAME"}, {"N", TextColumns::Align::Right}}, TextColumns::Rule::Yes);
    columns.add({"a", "100"});
    EXPECT_THAT(columns.lines(), ElementsAre("NAME    N", "----  ---", "a     100"));
}

TEST(TextColumns, LeaveOutWhatThereIsNoRoomForInTheOrderOfTheRanks)
{
    constexpr auto Left = TextColumns::Align::Left;
    TextColumns columns({{"NAME"}, {"LAST", Left, 3}, {"WIDE", Left, 1}, {"NEXT", Left, 2}});
    columns.add({"a", "b", "123456789012", "d"});
    EXPECT_THAT(columns.lines(30), ElementsAre("NAME  LAST  WIDE          NEXT", "a     b     123456789012  d"));
    EXPECT_THAT(columns.lines(29), ElementsAre("NAME  WIDE          NEXT", "a     123456789012  d"));
    EXPECT_THAT(columns.lines(17), ElementsAre("NAME  LAST  NEXT", "a     b     d")) << "the wide one has no room";
    EXPECT_THAT(columns.lines(10), ElementsAre("NAME  NEXT", "a     d"));
    EXPECT_THAT(columns.lines(1), ElementsAre("NAME", "a"));
}

TEST(TextColumns, CountColumnsOfTheTerminalAndNotBytes)
{
    TextColumns columns({{"A"}, {"B"}});
    columns.add({"t\xc3\xa4\xc3\xa4", "x"});
    columns.add({"four", "y"});
    EXPECT_THAT(columns.lines(), ElementsAre("A     B", "t\xc3\xa4\xc3\xa4   x", "four  y"));
    columns.add({"\xe6\x9d\xb1\xe4\xba\xac\xe5\xa4\xa7", "wide"});
    EXPECT_THAT(columns.lines(), ElementsAre("A       B", "t\xc3\xa4\xc3\xa4     x", "four    y",
                                             "\xe6\x9d\xb1\xe4\xba\xac\xe5\xa4\xa7  wide"));
}
