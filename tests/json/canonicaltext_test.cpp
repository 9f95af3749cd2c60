#include "json/canonicaltext.h"

#include "textmaker.h"
#include "json/jsonreader.h"
#include "json/jsonwriter.h"

#include <QVariantList>
#include <QVariantMap>

#include <gtest/gtest.h>

#include <optional>
#include <utility>
#include <vector>

namespace {

using Members = std::vector<std::pair<QByteArray, QByteArray>>;

/** The members that `splitObject` finds; nothing when it leaves the text to the parser. */
std::optional<Members> split(const QByteArray& text)
{
    std::vector<Json::MemberText> found;
    const bool isSplit = Json::splitObject(text, &found);
    EXPECT_EQ(Json::isCanonicalObject(text), isSplit) << text.toStdString();
    if (!isSplit)
        return std::nullopt;
    Members members;
    for (const Json::MemberText& member : found)
        members.emplace_back(QByteArray(member.name.data(), member.name.size()), member.value.toByteArray());
    return members;
}

TEST(SplitObject, FindsNamesAndValues)
{
    EXPECT_EQ(split("{}"), Members());
    EXPECT_EQ(split(R"({"a":{"S":"x"}})"), (Members{{"a", R"({"S":"x"})"}}));
    EXPECT_EQ(split(R"({"":1,"A":true,"a":false,"ab":null,"b":[],"c":{},"d":[1,-2,"x",[{}]],"e":"y"})"),
              (Members{{"", "1"},
                       {"A", "true"},
                       {"a", "false"},
                       {"ab", "null"},
                       {"b", "[]"},
                       {"c", "{}"},
                       {"d", R"([1,-2,"x",[{}]])"},
                       {"e", R"("y")"}}));
}

TEST(SplitObject, ForgetsTheMembersOfThePreviousText)
{
    std::vector<Json::MemberText> members;
    ASSERT_TRUE(Json::splitObject(R"({"a":1,"b":2})", &members));
    ASSERT_TRUE(Json::splitObject(R"({"c":3})", &members));
    ASSERT_EQ(members.size(), 1U);
    EXPECT_EQ(members.front().name, QLatin1StringView("c"));
}

TEST(SplitObject, TakesWhatTheWriterWrites)
{
    QString all; // every character below U+0200, and some of each length in UTF-8
    for (char16_t c = 0; c < 0x200; ++c)
        all.append(QChar(c));
    all += QString::fromUcs4(U"\u0800\u2028\ufeff\ufffd\uffff\U00010000\U0001f600\U0010ffff");
    const QVariantMap item{{"n", QVariantMap{{"N", "-12.5e3"}}},
                           {"s", QVariantMap{{"S", all}}},
                           {"ss", QVariantMap{{"SS", QVariantList{"", all, "x"}}}},
                           {"z", QVariantList{0, -1, qlonglong(123456789012345678), true, false, QVariant()}}};
    const QByteArray text = Json::serialize(item);
    const auto members = split(text);
    ASSERT_TRUE(members.has_value());
    QVariantMap again;
    for (const auto& [name, value] : *members)
        ASSERT_TRUE(Json::parse(value, &again[QString::fromUtf8(name)]));
    EXPECT_EQ(Json::serialize(again), text);
}

TEST(SplitObject, LeavesEverythingElseToTheParser)
{
    const char* const texts[] = {
        "",
        "{",
        "}",
        "[]",
        "1",
        "\"a\"",
        "null",
        "{}}",
        "{} ",
        " {}",
        "{ }",
        R"({"a":1,})",
        R"({"a":1 })",
        R"({"a": 1})",
        R"({"a" :1})",
        R"({"a":1,"a":2})",
        R"({"b":1,"a":2})",
        R"({"a":{"y":1,"x":2}})",
        R"({"a":})",
        R"({"a"})",
        R"({a:1})",
        R"({"a":1"b":2})",
        R"({"a":[1,]})",
        R"({"a":[,1]})",
        R"({"a":[1 ,2]})",
        R"({"a":[1)",
        R"({"a":tru})",
        R"({"a":True})",
        R"({"a":nul)",
        R"({"a":01})",
        R"({"a":-0})",
        R"({"a":-})",
        R"({"a":+1})",
        R"({"a":1.5})",
        R"({"a":1e3})",
        R"({"a":1234567890123456789})",
        R"({"a":"x)",
        R"({"a":"\/"})",
        R"({"a":"\q"})",
        R"({"a":"\)",
        R"({"a":"\u0041"})",
        R"({"a":"\u001f"})",
        R"({"a":"\u000A"})",
        R"({"a":"\u0009"})",
        R"({"a":"\u000"})",
        R"({"a":"\u00)",
        R"({"a":"\u001G"})",
        R"({"a":"\u2028"})",
        R"({"a":"\ud83d\ude00"})",
        R"({"\u0001":1})",
        R"({"a\"":1})",
        "{\"\xc3\xa4\":1}",
        "{\"a\":\"\x1f\"}",
        "{\"a\":\"\n\"}",
        "{\"a\":\"\xff\"}",
        "{\"a\":\"\xc3\"}",
        "{\"a\":\"\xc0\x80\"}",
        "{\"a\":\"\xed\xa0\x80\"}",
        "{\"a\":\"\xf4\x90\x80\x80\"}",
        "{\"a\":\"\xe2\x80\",\"b\":\"\xa8\"}",
    };
    for (const char* text : texts)
        EXPECT_FALSE(split(text).has_value()) << text;
    EXPECT_FALSE(split(QByteArray("{}\0", 3)).has_value());
    EXPECT_FALSE(split(QByteArray("{\"a\":\"\0\"}", 9)).has_value());
}

TEST(SplitObject, LeavesControlCharactersToTheParserWhereverTheyStand)
{
    constexpr qsizetype Length = 50; // more than a block that is examined at once
    for (char control = 0; control < ' '; ++control)
        for (qsizetype at = 0; at < Length; ++at) {
            QByteArray letters(Length, 'b');
            letters[at] = control;
            EXPECT_FALSE(split("{\"a\":\"" + letters + "\"}").has_value()) << int(control) << " at " << at;
            EXPECT_FALSE(split("{\"" + letters + "\":1}").has_value()) << int(control) << " at " << at;
        }
}

TEST(SplitLeadingObject, StopsAfterTheObject)
{
    std::vector<Json::MemberText> members;
    EXPECT_EQ(Json::splitLeadingObject(R"({"a":1}, {"b":2})", &members), 7);
    ASSERT_EQ(members.size(), 1U);
    EXPECT_EQ(members.front().name, QLatin1StringView("a"));
    EXPECT_EQ(Json::splitLeadingObject(R"({"a":1)", &members), 0);
    EXPECT_EQ(Json::splitLeadingObject("", &members), 0);
}

TEST(SplitObject, LeavesDeepNestingToTheParser)
{
    for (const int depth : {1, 10, 100, 100000}) {
        const QByteArray text = R"({"a":)" + QByteArray(depth, '[') + QByteArray(depth, ']') + '}';
        EXPECT_EQ(split(text).has_value(), depth <= 10) << depth;
    }
}

TEST(SplitObject, ReadsNothingAfterTheText)
{
    const QByteArray text = R"({"a":{"S":"0123456789012345"},"b":-12})";
    for (qsizetype length = 0; length < text.size(); ++length) {
        const std::vector<char> exact(text.begin(), text.begin() + length); // the sanitizers detect a read past the end
        std::vector<Json::MemberText> members;
        EXPECT_FALSE(Json::splitObject(QByteArrayView(exact.data(), length), &members)) << length;
    }
}

} // namespace
