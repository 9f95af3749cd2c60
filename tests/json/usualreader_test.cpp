#include "json/usualreader.h"

#include "jsoncases.h"
#include "textmaker.h"
#include "json/canonicaltext.h"
#include "json/jsonreader.h"
#include "json/jsonwriter.h"

#include <gtest/gtest.h>

#include <memory>
#include <string_view>

namespace {

using namespace JsonCases;

/** What parseUsual makes of a text, as `parsed` gives it: from memory that ends with its last byte. */
std::string usuallyParsed(std::string_view text)
{
    const std::unique_ptr<char[]> exact(new char[text.size()]);
    text.copy(exact.get(), text.size());
    QVariant value("as it was");
    if (!Json::parseUsual(QByteArray::fromRawData(exact.get(), static_cast<qsizetype>(text.size())), &value))
        return describe(value) == "\"as it was\"" ? "error" : "error that changed the value";
    return describe(value);
}

void expectSameAsParse(std::string_view text)
{
    EXPECT_EQ(usuallyParsed(text), parsed(text)) << readable(text);
}

TEST(ParseUsual, ReadsWhatParseReads)
{
    for (const Case& c : validTexts())
        EXPECT_EQ(usuallyParsed(c.text), c.tree) << readable(c.text);
    for (const Case& c : numbers())
        EXPECT_EQ(usuallyParsed(c.text), c.tree) << readable(c.text);
}

TEST(ParseUsual, RefusesWhatParseRefusesWhereverATextIsCutOrChanged)
{
    const std::string text = R"( {"b" : [1, -20,"x", {}, [ ], true,null ], "a":{"S":"é\n"},"b":false , "":0}  )";
    EXPECT_EQ(usuallyParsed(text), parsed(text));
    for (std::size_t at = 0; at < text.size(); ++at) {
        expectSameAsParse(std::string_view(text).substr(0, at));
        expectSameAsParse(std::string_view(text).substr(at));
        for (const char c : std::string_view("\0\"\\{}[],:0-.e \x01\x80\xff", 18)) {
            std::string changed = text;
            changed[at] = c;
            expectSameAsParse(changed);
        }
    }
}

TEST(ParseUsual, ReadsEveryNestingThatParseReads)
{
    for (const int depth : {1, 15, 16, 17, 999, 1000, 1001, 100000}) {
        expectSameAsParse(nested("[", "1", "]", depth));
        expectSameAsParse(nested(R"({"a":)", "1", "}", depth));
    }
}

TEST(ParseUsual, KeepsAByteOrderMarkAndSurrogates)
{
    for (const std::string_view text : {"\"\xef\xbb\xbfx\"", "\"\xf0\x9f\x98\x80\"", "\"\xed\xa0\xbd\"", "\"\xc3\"",
                                        "\xef\xbb\xbf{}", "{\"\xef\xbb\xbf\":1}", R"("\ud83d\ude00")", R"("\ud83d")"})
        expectSameAsParse(text);
}

TEST(ParseUsual, IsParseForRandomTexts)
{
    TextMaker maker(20120118);
    for (int i = 0; i < 30000; ++i) {
        const QByteArray text = i % 2 == 0 ? maker.pieces() : maker.mutated();
        expectSameAsParse({text.constData(), static_cast<std::size_t>(text.size())});
        const QByteArray loose = maker.loosened(text);
        expectSameAsParse({loose.constData(), static_cast<std::size_t>(loose.size())});
        if (HasFailure())
            return;
    }
}

bool isSplit(const QVariant& value)
{
    return value.metaType() == QMetaType::fromType<Json::SplitObject>();
}

QVariantMap parseSplitting(const QByteArray& text, Json::MemberPath path)
{
    QVariant value;
    EXPECT_TRUE(Json::parseUsual(text, &value, path)) << text.toStdString();
    return value.toMap();
}

constexpr const char* ItemPath[] = {"Item"};
constexpr const char* DeepPath[] = {"r", nullptr, nullptr, "p", "i"};

TEST(ParseUsual, LeavesACanonicalObjectAtThePathAsText)
{
    QVariantMap body;
    {
        const QByteArray text = QByteArray(R"({ "x" : 1, "Item" : {"a":{"S":"x"},"b":"é"} , "Y":{"Item":{}}})");
        body = parseSplitting(text, ItemPath);
    } // it keeps the text alive
    ASSERT_TRUE(isSplit(body.value("Item")));
    const auto item = body.value("Item").value<Json::SplitObject>();
    EXPECT_EQ(item.text, QByteArray(R"({"a":{"S":"x"},"b":"é"})"));
    ASSERT_EQ(item.members.size(), 2U);
    EXPECT_EQ(item.members[0].name, QLatin1StringView("a"));
    EXPECT_EQ(item.members[0].value, QByteArray(R"({"S":"x"})"));
    EXPECT_EQ(item.members[1].name, QLatin1StringView("b"));
    EXPECT_EQ(item.members[1].value, QByteArray(R"("é")"));
    EXPECT_EQ(body.value("x"), QVariant(1LL));
    EXPECT_EQ(body.value("Y"), QVariant(QVariantMap{{"Item", QVariantMap()}})); // not at the path
}

TEST(ParseUsual, MakesATreeOfAnyOtherObjectAtThePath)
{
    const char* const items[] = {R"({"b":1,"a":2})", R"({"a":1,"a":2})", R"({ "a":1})",     R"({"a":1.5})",
                                 R"({"é":1})",       R"({"a":"\/"})",    R"({"a":[1, 2]})", R"({"\u0061":1})"};
    for (const QByteArray item : items) {
        const QVariantMap body = parseSplitting(R"({"Item":)" + item + "}", ItemPath);
        EXPECT_EQ(body.value("Item").typeId(), QMetaType::QVariantMap) << item.toStdString();
        QVariant tree;
        EXPECT_TRUE(Json::parse(item, &tree));
        EXPECT_EQ(body.value("Item"), tree) << item.toStdString();
    }
    for (const QByteArray item : {"5", "\"x\"", "[{}]", "null", "true"}) {
        QVariant tree;
        EXPECT_TRUE(Json::parse(item, &tree));
        EXPECT_EQ(parseSplitting(R"({"Item":)" + item + "}", ItemPath).value("Item"), tree) << item.toStdString();
    }
}

TEST(ParseUsual, OfTwoObjectsAtThePathTheLastWins)
{
    EXPECT_EQ(Json::serialize(parseSplitting(R"({"Item":{"a":1},"Item":{"a":2}})", ItemPath)), R"({"Item":{"a":2}})");
    EXPECT_EQ(Json::serialize(parseSplitting(R"({"Item":{"a":1},"Item":3})", ItemPath)), R"({"Item":3})");
    EXPECT_EQ(Json::serialize(parseSplitting(R"({"Item":{"b":1,"a":1},"Item":{"a":2}})", ItemPath)),
              R"({"Item":{"a":2}})");
}

TEST(ParseUsual, FollowsAPathThroughAnyNameAndElement)
{
    const QVariantMap body = parseSplitting(
        R"({"r":{"t":[{"p":{"i":{"a":1}}},{"p":{"i":{"b":2}},"q":{"i":{"c":3}}}],"u":[[{"p":{"i":{}}}]]},"t":{}})",
        DeepPath);
    const QVariantMap tables = body.value("r").toMap();
    const QVariantList first = tables.value("t").toList();
    ASSERT_EQ(first.size(), 2);
    EXPECT_TRUE(isSplit(first[0].toMap().value("p").toMap().value("i")));
    EXPECT_TRUE(isSplit(first[1].toMap().value("p").toMap().value("i")));
    EXPECT_FALSE(isSplit(first[1].toMap().value("q").toMap().value("i")));
    EXPECT_EQ(tables.value("u"),
              QVariant(QVariantList{QVariantList{QVariantMap{{"p", QVariantMap{{"i", QVariantMap()}}}}}}));
}

TEST(ParseUsual, WritesTheSameTextWithAndWithoutAPath)
{
    TextMaker maker(20120119);
    int split = 0;
    for (int i = 0; i < 20000; ++i) {
        const QByteArray item = i % 2 == 0 ? maker.pieces() : maker.mutated();
        const QByteArray text = (i % 3 == 0 ? R"({"Item":)" : R"({"x":1, "Item": )") + item + "}";
        QVariant tree;
        QVariant value;
        const bool isValid = Json::parse(text, &tree);
        ASSERT_EQ(Json::parseUsual(text, &value, ItemPath), isValid) << text.toStdString();
        ASSERT_EQ(Json::serialize(value), Json::serialize(tree)) << text.toStdString();
        split += isSplit(value.toMap().value("Item")) ? 1 : 0;
    }
    EXPECT_GT(split, 2000); // so the comparison was made
}

} // namespace
