#include "json/jsonwriter.h"

#include "jsoncases.h"

#include "json/jsonreader.h"

#include <QStringList>
#include <QVariantHash>
#include <QVariantList>
#include <QVariantMap>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace {

using namespace JsonCases;
using namespace std::string_view_literals;
using namespace Qt::StringLiterals;

TEST(JsonSerialize, WritesEveryType)
{
    const QVariantMap map{{"b", 1}, {"a", QVariantList{true, QVariant()}}, {"", "x"}};
    const QVariantHash hash{{"b", 1}, {"a", 2}, {"c", QVariantHash{{"z", 1}, {"y", 2}}}, {"B", 3}};
    const std::vector<std::pair<QVariant, std::string>> cases = {
        {QVariant(), "null"},
        {QVariant::fromValue(nullptr), "null"},
        {true, "true"},
        {false, "false"},
        {0, "0"},
        {-1, "-1"},
        {std::numeric_limits<int>::max(), "2147483647"},
        {std::numeric_limits<int>::min(), "-2147483648"},
        {std::numeric_limits<uint>::max(), "4294967295"},
        {std::numeric_limits<qlonglong>::max(), "9223372036854775807"},
        {std::numeric_limits<qlonglong>::min(), "-9223372036854775808"},
        {qulonglong(0), "0"},
        {std::numeric_limits<qulonglong>::max(), "18446744073709551615"},
        {QVariant::fromValue(-7L), "-7"},
        {QVariant::fromValue(std::numeric_limits<unsigned long>::max()), "18446744073709551615"},
        {QVariant::fromValue(short(-7)), "-7"},
        {QVariant::fromValue(static_cast<unsigned short>(65535)), "65535"},
        {QVariant::fromValue(static_cast<signed char>(-128)), "-128"},
        {QVariant::fromValue(static_cast<unsigned char>(255)), "255"},
        {0.5f, "0.5"},
        {QString(), "\"\""},
        {QString("text"), "\"text\""},
        {QByteArray("bytes"), "\"bytes\""},
        {QByteArray(), "\"\""},
        {QStringList(), "[]"},
        {QStringList({"b", "a", "b"}), R"(["b","a","b"])"},
        {QVariantList(), "[]"},
        {QVariantList({1, "a", QVariant(), QVariantList()}), R"([1,"a",null,[]])"},
        {QVariantMap(), "{}"},
        {map, R"({"":"x","a":[true,null],"b":1})"},
        {QVariantHash(), "{}"},
        {hash, R"({"B":3,"a":2,"b":1,"c":{"y":2,"z":1}})"},
        {QVariant::fromValue(QChar(u'x')), "\"x\""},
        {QVariant::fromValue(std::vector<int>{1}), "null"}, // has no form in JSON
    };
    for (const auto& [value, text] : cases)
        EXPECT_EQ(Json::serialize(value).toStdString(), text) << value.typeName();
}

TEST(JsonSerialize, WritesDoublesThatStayDoubles)
{
    const std::vector<std::pair<double, std::string>> cases = {
        {0.0, "0.0"},
        {-0.0, "-0.0"},
        {1.0, "1.0"},
        {-1.0, "-1.0"},
        {100.0, "100.0"},
        {0.5, "0.5"},
        {0.1, "0.1"},
        {0.1 + 0.2, "0.30000000000000004"},
        {1e22, "1e+22"},
        {1e23, "1e+23"},
        {1e300, "1e+300"},
        {1.5e300, "1.5e+300"},
        {1e-7, "1e-07"},
        {5e-324, "5e-324"},
        {std::numeric_limits<double>::max(), "1.7976931348623157e+308"},
        {-std::numeric_limits<double>::min(), "-2.2250738585072014e-308"},
        {9007199254740992.0, "9007199254740992.0"},
        {18446744073709551616.0, "18446744073709551616.0"},
    };
    for (const auto& [number, text] : cases) {
        EXPECT_EQ(Json::serialize(number).toStdString(), text);
        EXPECT_EQ(parsed(text), describe(number)) << text;
    }
}

TEST(JsonSerialize, WritesInfinityAndNanAsNull)
{
    constexpr double infinity = std::numeric_limits<double>::infinity();
    const QVariantList list{infinity, -infinity, std::nan(""), 1, std::numeric_limits<float>::infinity()};
    EXPECT_EQ(Json::serialize(list).toStdString(), "[null,null,null,1,null]");
    EXPECT_EQ(Json::serialize(QVariantMap{{"a", infinity}, {"b", 1}}).toStdString(), R"({"a":null,"b":1})");
    EXPECT_EQ(Json::serialize(infinity).toStdString(), "null");
}

TEST(JsonSerialize, EscapesWhatJsonDemands)
{
    const std::vector<std::pair<QString, std::string>> cases = {
        {QString("\"\\/'"), R"("\"\\/'")"},
        {QString("\b\f\n\r\t"), R"("\b\f\n\r\t")"},
        {QString::fromLatin1("\0\x01\x0b\x1f\x7f", 5), "\"\\u0000\\u0001\\u000B\\u001F\x7f\""},
        {u"\u00e9\u20ac"_s, "\"\xC3\xA9\xE2\x82\xAC\""},
        {u"\u0080\u07ff\u0800\ufeff\uffff"_s, "\"\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBB\xBF\xEF\xBF\xBF\""},
        {u"\U0001F600\U00010000\U0010FFFF"_s, "\"\xF0\x9F\x98\x80\xF0\x90\x80\x80\xF4\x8F\xBF\xBF\""},
        {u"\u2028\u2029"_s, "\"\xE2\x80\xA8\xE2\x80\xA9\""},
        {u"\u0122\u015c\u6122"_s, "\"\xC4\xA2\xC5\x9C\xE6\x84\xA2\""}, // low bytes of quote and backslash
    };
    for (const auto& [string, text] : cases) {
        EXPECT_EQ(Json::serialize(string).toStdString(), text);
        EXPECT_EQ(Json::serialize(QVariantMap{{string, string}}).toStdString(), "{" + text + ":" + text + "}");
        EXPECT_EQ(Json::serialize(QStringList{string, string}).toStdString(), "[" + text + "," + text + "]");
    }
}

TEST(JsonSerialize, WritesHalfASurrogatePairAsReplacementCharacter)
{
    const std::string mark = "\xEF\xBF\xBD";
    const QChar high(0xD83D);
    const QChar low(0xDE00);
    const std::vector<std::pair<QString, std::string>> cases = {
        {QString(high), mark},
        {QString(low), mark},
        {QString(QChar(0xD800)), mark},
        {QString(QChar(0xDFFF)), mark},
        {QString("a") + high, "a" + mark},
        {QString("a") + low, "a" + mark},
        {high + QString("a"), mark + "a"},
        {low + QString("a"), mark + "a"},
        {QString(high) + high + low, mark + "\xF0\x9F\x98\x80"},
        {QString(low) + high, mark + mark},
        {QString(high) + high, mark + mark},
        {QString(low) + low, mark + mark},
        {high + QString("\"\n"), mark + "\\\"\\n"},
        {high + QString(QChar(0xE000)), mark + "\xEE\x80\x80"},
    };
    for (const auto& [string, content] : cases) {
        const std::string text = "\"" + content + "\"";
        EXPECT_EQ(Json::serialize(string).toStdString(), text);
        EXPECT_EQ(Json::serialize(QVariantMap{{string, string}}).toStdString(), "{" + text + ":" + text + "}");
        EXPECT_EQ(Json::serialize(QStringList{string, string}).toStdString(), "[" + text + "," + text + "]");
    }
}

TEST(JsonSerialize, DoesNotLookBeyondAStringThatEndsWithAHighSurrogate)
{
    // The other half of the pair follows the string in memory, but is not part of it.
    const std::u16string units = u"a\U0001F600";
    const QString cut = QString::fromRawData(reinterpret_cast<const QChar*>(units.data()), 2);
    EXPECT_EQ(Json::serialize(cut).toStdString(), "\"a\xEF\xBF\xBD\"");
    const std::unique_ptr<char16_t[]> exact(new char16_t[1]{0xD83D});
    const QString lone = QString::fromRawData(reinterpret_cast<const QChar*>(exact.get()), 1);
    EXPECT_EQ(Json::serialize(lone).toStdString(), "\"\xEF\xBF\xBD\"");
}

TEST(JsonSerialize, ByteArrayEndsBeforeItsFirstZeroByte)
{
    const std::vector<std::pair<QByteArray, std::string>> cases = {
        {bytes("key\0"sv), "key"}, {bytes("key\0rest"sv), "key"}, {bytes("\0"sv), ""},
        {bytes("\0key"sv), ""},    {bytes("key\0\0"sv), "key"},   {bytes("key"sv), "key"},
    };
    for (const auto& [array, content] : cases) {
        EXPECT_EQ(Json::serialize(array).toStdString(), "\"" + content + "\"") << readable(array.toStdString());
        EXPECT_EQ(Json::serialize(QVariantMap{{"S", array}}).toStdString(), "{\"S\":\"" + content + "\"}");
    }
    // A string may contain zero characters.
    EXPECT_EQ(Json::serialize(QString::fromLatin1("key\0rest", 8)).toStdString(), R"("key\u0000rest")");
}

TEST(JsonSerialize, ByteArrayIsLatin1Text)
{
    QByteArray array;
    QString text;
    for (int byte = 1; byte < 256; ++byte) {
        array += static_cast<char>(byte);
        text += QChar(byte);
    }
    QVariant value;
    ASSERT_TRUE(Json::parse(Json::serialize(array), &value));
    EXPECT_EQ(describe(value), quoted(text));
    EXPECT_EQ(Json::serialize(QByteArray("\xE9\xFF\x80\"")).toStdString(), "\"\xC3\xA9\xC3\xBF\xC2\x80\\\"\"");
    // Part of a longer array, without a terminator.
    EXPECT_EQ(Json::serialize(QByteArray::fromRawData("window", 3)).toStdString(), "\"win\"");
}

TEST(JsonSerialize, WritesWithoutWhiteSpaceInKeyOrder)
{
    QVariantMap reply{{"message", "m"}, {"__rc", 200}, {"__rcstr", "OK"}, {"__type", "t"}, {"Item", QVariantMap()}};
    EXPECT_EQ(Json::serialize(reply).toStdString(),
              R"({"Item":{},"__rc":200,"__rcstr":"OK","__type":"t","message":"m"})");
}

TEST(JsonSerialize, LeavesTheTreeAlone)
{
    QVariantMap inner{{"a", QByteArray("k\0", 2)}, {"b", QString(QChar(0xD800))}};
    const QVariantMap tree{{"inner", inner}};
    const QVariantMap before = tree;
    (void)Json::serialize(tree);
    EXPECT_EQ(tree, before);
    EXPECT_EQ(tree.value("inner").toMap().value("a").toByteArray().size(), 2);
}

} // namespace
