#include "request/requestbody.h"

#include "json/canonicaltext.h"
#include "json/jsonreader.h"
#include "json/jsonwriter.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

constexpr const char* ToItem[] = {"Item"};

constexpr QLatin1StringView MemberNames[] = {"Item"_L1, "Key"_L1, "TableName"_L1, "a"_L1, ""_L1};

/** Expects the body's value for a name to be that in the tree of its text. */
void expectMembersOfTree(const QByteArray& text)
{
    SCOPED_TRACE(text.toStdString());
    QVariant tree;
    ASSERT_TRUE(Json::parse(text, &tree));
    const QVariantMap members = tree.toMap();
    for (const Json::MemberPath path : {Json::MemberPath(), Json::MemberPath(ToItem)}) {
        RequestBody body;
        ASSERT_TRUE(body.parse(text, path));
        EXPECT_EQ(body.isEmpty(), members.isEmpty());
        for (const QLatin1StringView name : MemberNames) {
            SCOPED_TRACE(name.data());
            EXPECT_EQ(body.contains(name), members.contains(name));
            const QByteArray expected = Json::serialize(members.value(name));
            EXPECT_EQ(Json::serialize(body.value(name)), expected);
            QByteArray spelled(body.textOf(name).toByteArray());
            if (!spelled.isEmpty()) {
                QVariant value;
                EXPECT_TRUE(Json::parse(spelled, &value));
                EXPECT_EQ(Json::serialize(value), expected);
            }
            EXPECT_EQ(Json::serialize(body.take(name)), expected);
        }
    }
}

TEST(RequestBody, HasTheMembersOfItsTree)
{
    const char* const texts[] = {
        R"({})",
        R"( { "TableName" : "d|t" , "Key":{"HashKeyElement":{"S":"h"}} } )",
        R"({"Item":{"a":{"S":"x"}},"TableName":"d|t"})",
        R"({"TableName":"d|t","Item":{"b":1, "a":2}})",
        R"({"TableName":"é","a":[1,{"b":null}],"":true})",
        R"({"TableName":"one","Item":{"a":1},"TableName":"two","Item":{"a":2}})", // the last wins
        R"({"Item":{"a":1},"Item":5})",
        R"({"Item":null,"Key":null})",
        R"({"TableName":"\u0061","a":1.5,"Item":{"a":1}})", // a tree from the beginning
        R"({"\u0061":1,"Key":2})",
        R"([{"a":1}])",
        R"("a")",
    };
    for (const char* const text : texts)
        expectMembersOfTree(text);
}

TEST(RequestBody, KeepsItsTextAlive)
{
    RequestBody body;
    ASSERT_TRUE(body.parse(QByteArray(R"({"a":)") + QByteArray(R"({"S":"x"},"Item":{"b":1}})"), ToItem));
    EXPECT_EQ(body.textOf("a"_L1), QByteArray(R"({"S":"x"})"));
    EXPECT_TRUE(body.textOf("Item"_L1).isNull()); // it is a value
    const QVariant item = body.take("Item"_L1);
    body.clear();
    EXPECT_TRUE(body.isEmpty());
    EXPECT_EQ(item.metaType(), QMetaType::fromType<Json::SplitObject>());
    EXPECT_EQ(Json::serialize(item), R"({"b":1})");
}

TEST(RequestBody, RefusesWhatIsNotJson)
{
    for (const char* const text : {"", "{", "{}x", R"({"a":"\x"})", "{\"a\":\"\x80\"}"}) {
        RequestBody body(QVariantMap{{"a", 1}});
        EXPECT_FALSE(body.parse(text)) << text;
        EXPECT_TRUE(body.isEmpty()) << text;
        EXPECT_FALSE(body.contains("a"_L1)) << text;
    }
}

} // namespace
