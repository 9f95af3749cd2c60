#include "json/jsonreader.h"

#include "jsoncases.h"

#include <QVariantList>
#include <QVariantMap>

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace JsonCases;
using namespace std::string_literals;
using namespace std::string_view_literals;
using namespace Qt::StringLiterals;

TEST(JsonParse, GivesEveryKindOfValueItsType)
{
    for (const Case& row : validTexts())
        EXPECT_EQ(parsed(row.text), row.tree) << readable(row.text);
}

TEST(JsonParse, KeepsIntegersOf64BitsAndReadsOtherNumbersAsDoubles)
{
    for (const Case& row : numbers()) {
        EXPECT_EQ(parsed(row.text), row.tree) << readable(row.text);
        EXPECT_EQ(parsed(" [" + row.text + " ]"), "[" + row.tree + "]") << readable(row.text);
        EXPECT_EQ(parsed("{\"a\":" + row.text + "}"), "{\"a\":" + row.tree + "}") << readable(row.text);
    }
}

TEST(JsonParse, TextsWithNumbersThatOnlyLookTooLargeAreOtherwiseReadAsEver)
{
    EXPECT_EQ(parsed(R"({"0e309":["a\"0e309\\",0e309,1,1e5,true,"0e309"]})"),
              parsed(R"({"0e309":["a\"0e309\\",0.0,1,100000.0,true,"0e309"]})"));
    for (const std::string invalid :
         {"[0e309,]", "[0e309", "[0e309 1]", "[00e309]", "[0e309,01]", "[0e309,1e]", "[0e309,1.]", "[0e309,-]",
          "[0e309,1.0.0]", "[0e309,\"", "[0e309,\"\\", "[0e309,1e309]"})
        EXPECT_EQ(parsed(invalid), "error") << invalid;
}

TEST(JsonParse, LooksAtEveryByteOfAString)
{
    // A single byte that is not UTF-8, at each position of strings of all lengths up to several blocks.
    for (std::size_t length = 1; length <= 40; ++length) {
        const std::string plain(length, 'a');
        EXPECT_EQ(parsed('"' + plain + '"'), describe(QString::fromStdString(plain)));
        for (std::size_t place = 0; place < length; ++place) {
            std::string broken = plain;
            broken[place] = '\x80';
            EXPECT_EQ(parsed('"' + broken + '"'), "error") << place << " of " << length;
            EXPECT_EQ(parsed("{\"" + broken + "\":1}"), "error") << place << " of " << length;
        }
    }
}

TEST(JsonParse, ReadsContainersUpToTheDepthLimit)
{
    constexpr int depth = Json::MaxDepth;
    EXPECT_EQ(parsed(nested("[", "", "]", depth)), nested("[", "", "]", depth));
    EXPECT_EQ(parsed(nested("[", "1", "]", depth)), nested("[", "i1", "]", depth));
    EXPECT_EQ(parsed(nested("{\"a\":", "{}", "}", depth - 1)), nested("{\"a\":", "{}", "}", depth - 1));
    EXPECT_EQ(parsed(nested("[{\"a\":", "null", "}]", depth / 2)), nested("[{\"a\":", "null", "}]", depth / 2));
    // The depth counts, not the number of containers.
    EXPECT_EQ(parsed("[" + repeated("[],", 3 * depth) + "{}]"), "[" + repeated("[],", 3 * depth) + "{}]");
}

TEST(JsonParse, ReadsLargeTexts)
{
    // With a copy of the container at each insertion, these would take minutes.
    constexpr int count = 100000;
    std::string array = "[0";
    std::string object = "{\"k0\":0";
    for (int i = 1; i < count; ++i) {
        array += ',' + std::to_string(i);
        object += ",\"k" + std::to_string(i) + "\":" + std::to_string(i);
    }
    QVariant value;
    ASSERT_TRUE(Json::parse(bytes(array + "]"), &value));
    const QVariantList list = value.toList();
    ASSERT_EQ(list.size(), count);
    EXPECT_EQ(list.back(), QVariant(qlonglong(count - 1)));

    ASSERT_TRUE(Json::parse(bytes(object + "}"), &value));
    const QVariantMap map = value.toMap();
    ASSERT_EQ(map.size(), count);
    EXPECT_EQ(map.value(QStringLiteral("k99999")), QVariant(qlonglong(count - 1)));

    const std::string euros = repeated("\xE2\x82\xAC", 1 << 20);
    ASSERT_TRUE(Json::parse(bytes("{\"" + euros + "\":\"" + repeated("0123456789abcde\\n", 1 << 20) + "\"}"), &value));
    EXPECT_EQ(value.toMap().firstKey(), QString(1 << 20, QChar(0x20AC)));
    EXPECT_EQ(value.toMap().first().toString(), QStringLiteral("0123456789abcde\n").repeated(1 << 20));
}

TEST(JsonParse, LeavesTheTextAlone)
{
    // The reader works in place on its own copy, never on a shared array.
    const QByteArray text = R"({"a\n":"\u0041\\","b":[1.5]})";
    const QByteArray shared = text;
    const std::string before = text.toStdString();
    QVariant value;
    ASSERT_TRUE(Json::parse(shared, &value));
    EXPECT_EQ(text.toStdString(), before);
    EXPECT_EQ(shared.constData(), text.constData());
}

TEST(JsonParse, GivesEmptyStringsThatAreNotNull)
{
    QVariant value;
    ASSERT_TRUE(Json::parse("[\"\"]", &value));
    const QString empty = value.toList().constFirst().toString();
    EXPECT_TRUE(empty.isEmpty());
    EXPECT_FALSE(empty.isNull());
}

} // namespace
