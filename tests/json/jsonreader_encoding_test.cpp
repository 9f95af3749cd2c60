// Bytes and characters that the reader refuses: encodings other than UTF-8, and control characters.
#include "json/jsonreader.h"

#include "jsoncases.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace JsonCases;
using namespace std::string_view_literals;

TEST(JsonParse, RefusesControlCharactersWhereverTheyStandInAString)
{
    constexpr std::size_t Length = 50; // more than any block that a reader may examine at once
    for (char control = 0; control < ' '; ++control)
        for (std::size_t at = 0; at < Length; ++at) {
            std::string letters(Length, 'b');
            letters[at] = control;
            EXPECT_EQ(parsed('"' + letters + '"'), "error") << readable(letters);
            EXPECT_EQ(parsed("{\"" + letters + "\":1}"), "error") << readable(letters);
        }
}

TEST(JsonParse, RefusesInvalidUtf8InStringsAndNames)
{
    const std::vector<std::string_view> cases = {
        "\x80", // lone continuation bytes
        "\xBF",
        "\x80\x80\x80",
        "\xC0\x80", // overlong: two bytes for one
        "\xC0\xAF",
        "\xC1\xBF",
        "\xE0\x80\x80", // overlong: three bytes for fewer
        "\xE0\x80\xAF",
        "\xE0\x9F\xBF",
        "\xF0\x80\x80\x80", // overlong: four bytes for fewer
        "\xF0\x8F\xBF\xBF",
        "\xED\xA0\x80", // surrogates
        "\xED\xAF\xBF",
        "\xED\xB0\x80",
        "\xED\xBF\xBF",
        "\xED\xA0\xBD\xED\xB8\x80", // a pair of them
        "\xF4\x90\x80\x80",         // above the last code point
        "\xF5\x80\x80\x80",
        "\xF7\xBF\xBF\xBF",
        "\xF8\x88\x80\x80\x80", // longer forms
        "\xFC\x84\x80\x80\x80\x80",
        "\xFE",
        "\xFF",
        "\xFE\xFF",
        "\xC3", // truncated
        "\xE2",
        "\xE2\x82",
        "\xF0",
        "\xF0\x9F",
        "\xF0\x9F\x98",
        "\xC3\x28", // followed by something else
        "\xC3\xC3\xA9",
        "\xE2\x28\xA1",
        "\xE2\x82\x28",
        "\xF0\x28\x8C\xBC",
        "\xF0\x9F\x28\x80",
        "\xF0\x9F\x98\x28",
        "\xC3\xA9\xA9", // one too many
        "\xE9",         // Latin-1
    };
    for (const std::string_view part : cases) {
        const std::string damaged(part);
        const std::vector<std::string> texts = {
            "\"" + damaged + "\"",
            "\"before " + damaged + "\"",
            "\"" + damaged + " after, and long enough for a block of bytes at once\"",
            "\"text of some length in front of it, \xC3\xA9 \xF0\x9F\x98\x80, " + damaged + "\"",
            "{\"" + damaged + "\":1}",
            "{\"a\":{\"b\":[\"good\",\"" + damaged + "\",\"good\"]}}",
        };
        for (const std::string& text : texts)
            EXPECT_EQ(parsed(text), "error") << readable(text);
    }
}

TEST(JsonParse, DoesNotJoinACharacterFromTwoStrings)
{
    EXPECT_EQ(parsed("[\"\xC3\",\"\xA9\"]"), "error");
    EXPECT_EQ(parsed("{\"\xE2\x82\":\"\xAC\"}"), "error");
}

TEST(JsonParse, RefusesEscapesOfHalfASurrogatePair)
{
    const std::vector<std::string_view> cases = {
        R"("\ud800")",        R"("\uDBFF")",       R"("\udc00")",         R"("\uDFFF")",
        R"("\ud83d text")",   R"("text \ude00")",  R"("\ud83d\n")",       R"("\ud83d\u0041")",
        R"("\ud83d\ud83d")",  R"("\ude00\ud83d")", R"("\ude00\ude00")",   R"("\ud83d\ud83d\ude00")",
        R"("\ud83d\\ude00")", R"("\ud83d\")",      R"("\ud83d\u")",       R"("\ud83d\ude0")",
        R"({"\ud800":1})",    R"({"\udc00":1})",   R"(["a",["\udc00"]])",
    };
    for (const std::string_view text : cases)
        EXPECT_EQ(parsed(text), "error") << readable(text);
}

TEST(JsonParse, RefusesALeadingByteOrderMark)
{
    EXPECT_EQ(parsed("\xEF\xBB\xBF{}"), "error");
    EXPECT_EQ(parsed("\xEF\xBB\xBF"), "error");
    EXPECT_EQ(parsed("{}\xEF\xBB\xBF"), "error");
    EXPECT_EQ(parsed("\xFF\xFE{\0}\0"sv), "error"); // UTF-16 with a byte order mark
    EXPECT_EQ(parsed("\xFE\xFF\0{\0}"sv), "error");
}

TEST(JsonParse, RefusesAZeroByteAnywhere)
{
    const std::vector<std::string_view> cases = {
        "\0"sv,
        "\0{}"sv,
        "{}\0"sv,
        "{} \0"sv,
        "{}\0{}"sv,
        "1\0"sv,
        "1\0002"sv,
        "null\0"sv,
        "tr\0ue"sv,
        "\"a\"\0"sv,
        "\"a\0b\""sv,
        "\"\0\""sv,
        "\"a\\\0\""sv,
        "[1\0]"sv,
        "[1,\0 2]"sv,
        "[\0]"sv,
        "{\"a\"\0:1}"sv,
        "{\"a\":\0 1}"sv,
        "{\"a\0\":1}"sv,
        "{\"a\":1\0}"sv,
        "{\0\"a\":1}"sv,
        "1.\0"sv,
        "1.5\0"sv,
        "1.5e3\0"sv,
        "\"\\u00\0"
        "41\""sv,
        "{}\n\0\n"sv,
        "[]\0\0\0"sv,
    };
    for (const std::string_view text : cases)
        EXPECT_EQ(parsed(text), "error") << readable(text);
}

} // namespace
