// Texts that are not JSON, or exceed the reader's limits.
#include "json/jsonreader.h"

#include "jsoncases.h"

#include <QByteArray>
#include <QVariant>

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace JsonCases;
using namespace std::string_view_literals;

TEST(JsonParse, RefusesNumbersThatNoDoubleCanHold)
{
    const std::vector<std::string> cases = {
        "1e309",
        "-1e309",
        "1e400",
        "-1E+400",
        "1.7976931348623159e308",
        "-1.7976931348623159e308",
        "17976931348623159e292",
        "123456789e301",
        "0.0000001e316",
        "1" + repeated("0", 309),
        "-1" + repeated("9", 400),
        "1" + repeated("0", 400) + ".5",
        "1e2147483647",
        "1e2147483648",
        "1e9223372036854775808",
        "1e99999999999999999999999999999999",
        "1" + repeated("0", 500) + "e-100",
    };
    for (const std::string& text : cases) {
        EXPECT_EQ(parsed(text), "error") << readable(text);
        EXPECT_EQ(parsed("[0," + text + "]"), "error") << readable(text);
    }
}

TEST(JsonParse, RefusesMalformedText)
{
    const std::vector<std::string_view> cases = {
        // No value.
        "", " ", "\t\r\n", ",", ":",
        // Literals.
        "n", "nul", "nulll", "Null", "NULL", "t", "tru", "truee", "True", "f", "fals", "falsee", "False", "undefined",
        "nan", "NaN", "-NaN", "inf", "Inf", "Infinity", "-Infinity", "x", "a1",
        // Numbers.
        "-", "+1", "--1", "- 1", "-a", "01", "-01", "00", "-00", "0123", "1.", "-1.", "1.e5", ".5", "-.5", ".", "1e",
        "1E", "1e+", "1e-", "1e+-1", "1e1.5", "1e1e1", "1.2.3", "0x10", "0b1", "1_000", "1,000", "1f", "1L", "1a", "1-",
        "1+1", "e5", "0e", "0.e1",
        // Strings.
        "\"", "\"abc", "abc\"", "'abc'", "\"a\"b\"", "\"\\\"", "\"\\", "\"\\a\"", "\"\\x41\"", "\"\\'\"", "\"\\0\"",
        "\"\\ \"", "\"\\N\"", "\"\\\n\"", "\"\\u\"", "\"\\u1\"", "\"\\u12\"", "\"\\u123\"", "\"\\u123", "\"\\u123g\"",
        "\"\\u 123\"", "\"\\u+123\"", "\"\\u-123\"", "\"\\u0x1\"", "\"\\U0041\"", "\"\\u{41}\"", "\"a\nb\"", "\"a\tb\"",
        "\"a\rb\"", "\"\x01\"", "\"\x1f\"", "\"\b\"",
        // Arrays.
        "[", "]", "[1", "[1,", "[1,]", "[,1]", "[,]", "[1,,2]", "[1 2]", "[1;2]", "[1:2]", "[\"a\":1]", "[[]", "[]]",
        "[}", "[1}", "[\"a", "[\"a\"", "[null", "[nul]", "[1.]", "(1)", "<1>",
        // Objects.
        "{", "}", "{\"a\"", "{\"a\"}", "{\"a\":", "{\"a\":}", "{\"a\":1", "{\"a\":1,", "{\"a\":1,}", "{,}",
        "{,\"a\":1}", "{\"a\":1,,\"b\":2}", "{\"a\" 1}", "{\"a\"::1}", "{\"a\"=1}", "{\"a\",1}", "{\"a\":1 \"b\":2}",
        "{\"a\":1;\"b\":2}", "{\"a\":1:\"b\"}", "{\"a\":1,\"b\"}", "{1:2}", "{a:1}", "{'a':1}", "{null:1}", "{true:1}",
        "{[]:1}", "{{}:1}", "{:1}", "{]", "{\"a\":1]", "{\"a\":[1}", "{\"a\":{}", "{}}", "{\"a",
        // Text after the value.
        "1 2", "1 1", "null null", "true,", "{}{}", "[][]", "{} x", "[],", "{},", "\"a\"\"b\"", "\"a\",", "1]", "1}",
        "{};", "{}\n{}", "[1]a", "1 \"\"",
        // Comments, and white space that JSON does not have.
        "//x\n1", "1//x", "/**/1", "[1]/**/", "{/**/}", "#x\n1", "\v1", "\f1", "1\v", "[1,\f2]", "\b1",
        "\xC2\xA0"
        "1",
        "1\xC2\xA0",
        "\xE2\x80\xA8"
        "1",
        "\xE3\x80\x80{}",
        // Non-ASCII characters outside strings.
        "\xC3\xA9", "[\xC3\xA9]", "{\xC3\xA9:1}", "\xEF\xBC\x91",
        "\xE2\x80\x9C"
        "a\xE2\x80\x9D",
        "\xFF", "[\xFF]", "1\x80", "\x7f"};
    for (const std::string_view text : cases)
        EXPECT_EQ(parsed(text), "error") << readable(text);
}

TEST(JsonParse, RefusesWhateverIsCutShort)
{
    const std::string text =
        "{\"Item\":{\"id\":{\"S\":\"\\u00e9\xE2\x82\xAC\\n\"},\"n\":[1.5e3,true,null]},\"b\":false}";
    ASSERT_NE(parsed(text), "error");
    for (std::size_t size = 0; size < text.size(); ++size)
        EXPECT_EQ(parsed(std::string_view(text).substr(0, size)), "error") << size << " bytes";
}

TEST(JsonParse, RefusesContainersBeyondTheDepthLimit)
{
    for (const int depth : {Json::MaxDepth + 1, Json::MaxDepth + 2, 10 * Json::MaxDepth, 1000000}) {
        EXPECT_EQ(parsed(nested("[", "", "]", depth)), "error") << depth;
        EXPECT_EQ(parsed(nested("[", "1", "]", depth)), "error") << depth;
        EXPECT_EQ(parsed(nested("{\"a\":", "1", "}", depth)), "error") << depth;
        EXPECT_EQ(parsed(nested("[{\"a\":", "1", "}]", (depth + 1) / 2)), "error") << depth;
        EXPECT_EQ(parsed(repeated("[", depth)), "error") << depth;
        EXPECT_EQ(parsed(repeated("{\"a\":", depth)), "error") << depth;
        EXPECT_EQ(parsed("[1," + nested("[", "", "]", depth - 1) + ",2]"), "error") << depth;
    }
}

TEST(JsonParse, ReportsWhereAndWhyATextIsNotJson)
{
    struct Row {
        std::string_view text;
        qsizetype offset;
        const char* reason;
    };
    const std::string deep = std::string(Json::MaxDepth + 1, '[');
    const Row rows[] = {
        {"", 0, "The document is empty"},
        {"{\"a\": 1 \"b\": 2}", 8, "Missing a comma or '}' after an object member"},
        {"{\"a\" 1}", 5, "Missing a colon after a name of object member"},
        {"{a: 1}", 1, "Missing a name for object member"},
        {"[1, x]", 4, "Invalid value"},
        {"[1] [2]", 4, "The document root must not be followed by other values"},
        {"{}\0"sv, 2, "A zero byte"},
        {"[\"ok\", \"\xe9\"]", 8, "A string is not UTF-8, or escapes half of a surrogate pair"},
        {"[\"\\udc00\"]", 2, "A string is not UTF-8, or escapes half of a surrogate pair"},
        {"[1e999]", 1, "Number too big to be stored in double"},
        {deep, Json::MaxDepth, "Nested too deep, or a number that is too large"},
    };
    for (const Row& row : rows) {
        QVariant value = "before";
        Json::ParseError error;
        EXPECT_FALSE(Json::parse(QByteArray(row.text.data(), qsizetype(row.text.size())), &value, &error))
            << readable(row.text);
        EXPECT_EQ(error.offset, row.offset) << readable(row.text) << ": " << error.reason.toStdString();
        EXPECT_EQ(error.reason.toStdString(), row.reason) << readable(row.text);
        EXPECT_EQ(value, QVariant("before"));
    }
    QVariant value;
    Json::ParseError error{7, "before"};
    EXPECT_TRUE(Json::parse("[1]", &value, &error));
    EXPECT_EQ(error.offset, 7);
    EXPECT_EQ(error.reason, "before");
}

} // namespace
