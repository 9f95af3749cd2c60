#include "server/getopt.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using CommandLine::GetoptState;

struct Answer {
    int option;
    std::string argument; // "(none)" for a null pointer

    bool operator==(const Answer&) const = default;
};

void PrintTo(const Answer& answer, std::ostream* stream)
{
    if (answer.option < 0)
        *stream << answer.option;
    else
        *stream << static_cast<char>(answer.option) << '=' << answer.argument;
}

constexpr const char* Options = "p:d:s:w:m:n";

const Answer End{-1, "(none)"};
const Answer Unknown{'?', "(none)"};

Answer next(GetoptState* state, const std::vector<const char*>& words)
{
    const int option = CommandLine::getopt(state, static_cast<int>(words.size()), words.data(), Options);
    return {option, state->argument == nullptr ? "(none)" : state->argument};
}

struct Case {
    const char* name;
    std::vector<const char*> words; // after the program name
    std::vector<Answer> answers;    // up to the first End, exclusive
    int rest;                       // the index of the first unread word
};

void PrintTo(const Case& testCase, std::ostream* stream)
{
    *stream << testCase.name;
}

std::string caseName(const testing::TestParamInfo<Case>& info)
{
    return info.param.name;
}

class GetoptCommandLine : public testing::TestWithParam<Case> {};

} // namespace

TEST_P(GetoptCommandLine, AnswersEachCallAndStopsAtTheFirstOtherWord)
{
    std::vector<const char*> words{"quorva"};
    words.insert(words.end(), GetParam().words.begin(), GetParam().words.end());
    GetoptState state;
    std::vector<Answer> answers;
    for (Answer answer = next(&state, words); answer != End && answers.size() < 100; answer = next(&state, words))
        answers.push_back(answer);
    EXPECT_EQ(answers, GetParam().answers);
    EXPECT_EQ(state.nextIndex, GetParam().rest);
    EXPECT_EQ(next(&state, words), End) << "the end is answered again";
}

INSTANTIATE_TEST_SUITE_P(
    Words, GetoptCommandLine,
    testing::Values(
        Case{"Nothing", {}, {}, 1}, //
        Case{"Flag", {"-n"}, {{'n', "(none)"}}, 2}, Case{"ArgumentInTheNextWord", {"-p", "4567"}, {{'p', "4567"}}, 3},
        Case{"ArgumentInTheSameWord", {"-p4567"}, {{'p', "4567"}}, 2},
        Case{"ClusterOfFlags", {"-nnn"}, {{'n', "(none)"}, {'n', "(none)"}, {'n', "(none)"}}, 2},
        Case{"ClusterEndsWithAnArgument", {"-nw3"}, {{'n', "(none)"}, {'w', "3"}}, 2},
        Case{"ClusterTakesTheNextWord", {"-nw", "3", "-n"}, {{'n', "(none)"}, {'w', "3"}, {'n', "(none)"}}, 4},
        Case{"ArgumentHidesLaterOptions", {"-wn"}, {{'w', "n"}}, 2},
        Case{"ArgumentMayLookLikeAnOption", {"-p", "-n"}, {{'p', "-n"}}, 3},
        Case{"ArgumentMayBeEmpty", {"-d", ""}, {{'d', ""}}, 3},
        Case{"ArgumentMayHoldColons", {"-d:n"}, {{'d', ":n"}}, 2}, Case{"UnknownOption", {"-x"}, {Unknown}, 2},
        Case{"UnknownInACluster", {"-xnx"}, {Unknown, {'n', "(none)"}, Unknown}, 2},
        Case{"UnknownTakesNoArgument", {"-x", "3", "-n"}, {Unknown}, 2}, Case{"MissingArgument", {"-p"}, {Unknown}, 2},
        Case{"MissingArgumentAfterOthers", {"-n", "-s"}, {{'n', "(none)"}, Unknown}, 3},
        Case{"StopsAtAWord", {"-n", "word", "-n"}, {{'n', "(none)"}}, 2},
        Case{"StopsAtALoneDash", {"-n", "-", "-n"}, {{'n', "(none)"}}, 2},
        Case{"StopsAtAnEmptyWord", {"-n", "", "-n"}, {{'n', "(none)"}}, 2},
        Case{"TwoDashesAreAnUnknownOption", {"--", "-n"}, {Unknown, {'n', "(none)"}}, 3},
        Case{"LongNamesAreClusters", {"--np", "7"}, {Unknown, {'n', "(none)"}, {'p', "7"}}, 3},
        Case{"HighCharactersAreUnknown", {"-\xc3\xa4"}, {Unknown, Unknown}, 2}),
    caseName);

TEST(Getopt, EndIsAnsweredForNoWordsAtAll)
{
    GetoptState state;
    EXPECT_EQ(CommandLine::getopt(&state, 0, nullptr, Options), -1);
    EXPECT_EQ(state.nextIndex, 1);
    EXPECT_EQ(state.argument, nullptr);
}

TEST(Getopt, ArgumentIsClearedByTheNextCall)
{
    GetoptState state;
    const std::vector<const char*> words{"quorva", "-p", "1", "-n"};
    EXPECT_EQ(next(&state, words), (Answer{'p', "1"}));
    EXPECT_EQ(next(&state, words), (Answer{'n', "(none)"}));
    EXPECT_EQ(next(&state, words), End);
}

TEST(Getopt, ArgumentPointsIntoTheCommandLine)
{
    GetoptState state;
    const std::vector<const char*> words{"quorva", "-dlog", "-d", "other"};
    EXPECT_EQ(next(&state, words).option, 'd');
    EXPECT_EQ(state.argument, words[1] + 2);
    EXPECT_EQ(next(&state, words).option, 'd');
    EXPECT_EQ(state.argument, words[3]);
}

TEST(Getopt, ColonReturnsQuestionMarkForever)
{
    GetoptState state;
    const std::vector<const char*> words{"quorva", "-:n", "-n"};
    for (int call = 0; call < 1000; ++call) {
        ASSERT_EQ(next(&state, words), Unknown) << call;
        ASSERT_EQ(state.nextIndex, 2) << call;
        ASSERT_EQ(state.cluster, words[1] + 1) << call;
    }
}

TEST(Getopt, ColonAfterAnOptionReturnsQuestionMarkForever)
{
    GetoptState state;
    const std::vector<const char*> words{"quorva", "-n:", "-n"};
    EXPECT_EQ(next(&state, words), (Answer{'n', "(none)"}));
    for (int call = 0; call < 1000; ++call) {
        ASSERT_EQ(next(&state, words), Unknown) << call;
        ASSERT_EQ(state.cluster, words[1] + 2) << call;
    }
}
