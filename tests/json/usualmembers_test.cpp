#include "textmaker.h"
#include "json/canonicaltext.h"
#include "json/jsonreader.h"
#include "json/jsonwriter.h"
#include "json/usualreader.h"

#include <gtest/gtest.h>

namespace {

constexpr const char* ToItem[] = {"Item"};

/** The tree of the members that were found, each with the value that the object has for its name. */
QVariantMap treeOfMembers(const QByteArray& text, const Json::UsualMembers& members)
{
    QVariantMap tree;
    for (const Json::UsualMember& member : members)
        tree.insert(member.name, Json::usualValue(text, Json::findMember(members, member.name)->value));
    return tree;
}

TEST(FindUsualMembers, FindsNamesAndValuesAsTheyAreSpelled)
{
    const QByteArray text = R"( { "b" : {"S": "é"} ,"a":[1, 2],"":null } )";
    Json::UsualMembers members;
    ASSERT_TRUE(Json::findUsualMembers(text, text, &members));
    ASSERT_EQ(members.size(), 3);
    EXPECT_EQ(members[0].name, QLatin1StringView("b"));
    EXPECT_EQ(members[0].value, QByteArray(R"({"S": "é"})"));
    EXPECT_EQ(members[1].name, QLatin1StringView("a"));
    EXPECT_EQ(members[1].value, QByteArray("[1, 2]"));
    EXPECT_EQ(members[2].name, QLatin1StringView(""));
    EXPECT_EQ(members[2].value, QByteArray("null"));
    EXPECT_EQ(Json::findMember(members, QLatin1StringView("a")), &members[1]);
    EXPECT_EQ(Json::findMember(members, QLatin1StringView("c")), nullptr);
    EXPECT_EQ(Json::serialize(Json::usualValue(text, members[0].value)), QByteArray(R"({"S":"é"})"));
}

TEST(FindUsualMembers, LeavesOtherTextToTheParser)
{
    for (const QByteArray text :
         {"", " ", "5", "[]", "\"x\"", "{", "{}x", R"({"é":1})", R"({"\u0061":1})", R"({"a":1.5})", R"({"a":"\n"})",
          R"({"a":1,})", R"({"a" 1})", R"({a:1})", "{\"a\":\"\x80\"}", "{\"a\":{\"\xff\":1}}", "{\"a\":\"\x01\"}"}) {
        Json::UsualMembers members;
        EXPECT_FALSE(Json::findUsualMembers(text, text, &members)) << text.toStdString();
    }
}

TEST(FindUsualMembers, OfTwoEqualNamesTheLastIsFound)
{
    const QByteArray text = R"({"Item":{"a":1},"x":1,"x":2,"Item":{"b":1, "a":2}})";
    Json::UsualMembers members;
    QVariant item;
    ASSERT_TRUE(Json::findUsualMembers(text, text, &members, ToItem, &item));
    EXPECT_EQ(Json::findMember(members, QLatin1StringView("x"))->value, QByteArray("2"));
    EXPECT_EQ(Json::serialize(item), R"({"a":2,"b":1})");
}

TEST(FindUsualMembers, ReadsAnObjectAtThePath)
{
    const QByteArray text = R"({"x":{"Item":{}},"Item":{"a":1}})";
    Json::UsualMembers members;
    QVariant item;
    ASSERT_TRUE(Json::findUsualMembers(text, text, &members, ToItem, &item));
    ASSERT_EQ(item.metaType(), QMetaType::fromType<Json::SplitObject>());
    EXPECT_EQ(item.value<Json::SplitObject>().text, QByteArray(R"({"a":1})"));
    EXPECT_EQ(Json::findMember(members, QLatin1StringView("Item"))->value, QByteArray(R"({"a":1})"));
}

TEST(FindUsualMembers, HasTheTreeOfParseForRandomTexts)
{
    TextMaker maker(20120120);
    int found = 0;
    for (int i = 0; i < 30000; ++i) {
        const QByteArray text = maker.loosened(i % 2 == 0 ? maker.pieces() : maker.mutated());
        Json::UsualMembers members;
        if (!Json::findUsualMembers(text, text, &members))
            continue;
        ++found;
        QVariant tree;
        ASSERT_TRUE(Json::parse(text, &tree)) << text.toStdString();
        ASSERT_EQ(treeOfMembers(text, members), tree) << text.toStdString();
    }
    EXPECT_GT(found, 1000); // so the comparison was made
}

TEST(IsPlainString, TakesOnlyStringsThatAreTheirOwnText)
{
    QByteArrayView content;
    EXPECT_TRUE(Json::isPlainString("\"a b\"", &content));
    EXPECT_EQ(content, QByteArray("a b"));
    EXPECT_TRUE(Json::isPlainString("\"\"", &content));
    EXPECT_EQ(content, QByteArray());
    for (const char* const other : {"", "\"", "5", "{}", R"("\n")", "\"\xc3\xa9\"", "null"})
        EXPECT_FALSE(Json::isPlainString(other, &content)) << other;
}

} // namespace
