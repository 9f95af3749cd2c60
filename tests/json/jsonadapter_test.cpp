#include "json/jsonadapter.h"

#include "json/jsontext.h"

#include <QStringList>
#include <QVariantHash>
#include <QVariantList>
#include <QVariantMap>

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cmath>
#include <cstdio>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace {

using namespace std::string_literals;
using namespace std::string_view_literals;
using namespace Qt::StringLiterals;

/** Printable, so that a failing row can be read: bytes that are not ASCII as <e9>, long texts cut. */
std::string readable(std::string_view text)
{
    std::string result;
    for (const char c : text.substr(0, 200)) {
        if (c >= ' ' && c <= '~') {
            result += c;
        } else {
            char code[8];
            std::snprintf(code, sizeof code, "<%02x>", static_cast<unsigned>(static_cast<unsigned char>(c)));
            result += code;
        }
    }
    return text.size() > 200 ? result + "..." : result;
}

std::string quoted(const QString& text)
{
    std::string result = "\"";
    for (const QChar c : text) {
        if (c.unicode() >= ' ' && c.unicode() <= '~') {
            result += static_cast<char>(c.unicode());
        } else {
            char code[8];
            std::snprintf(code, sizeof code, "<%04x>", static_cast<unsigned>(c.unicode()));
            result += code;
        }
    }
    return result + '"';
}

/**
 * A tree with the exact types of its values, which the comparison of variants would not tell apart: i1 is a qlonglong,
 * u1 a qulonglong, d1.0 a double ("d-0" negative zero).
 */
std::string describe(const QVariant& value)
{
    char text[64];
    switch (value.typeId()) {
    case QMetaType::UnknownType:
        return "null";
    case QMetaType::Bool:
        return value.toBool() ? "true" : "false";
    case QMetaType::LongLong:
        return "i" + std::to_string(value.toLongLong());
    case QMetaType::ULongLong:
        return "u" + std::to_string(value.toULongLong());
    case QMetaType::Double:
        std::snprintf(text, sizeof text, "d%.17g", value.toDouble());
        return text;
    case QMetaType::QString:
        return quoted(value.toString());
    case QMetaType::QVariantList: {
        std::string elements;
        const QVariantList list = value.toList();
        for (const QVariant& element : list)
            elements += (elements.empty() ? "" : ",") + describe(element);
        return "[" + elements + "]";
    }
    case QMetaType::QVariantMap: {
        std::string members;
        const QVariantMap map = value.toMap();
        for (auto member = map.cbegin(); member != map.cend(); ++member)
            members += (members.empty() ? "" : ",") + quoted(member.key()) + ":" + describe(member.value());
        return "{" + members + "}";
    }
    default:
        return "unexpected "s + value.typeName();
    }
}

QByteArray bytes(std::string_view text)
{
    return QByteArray(text.data(), static_cast<qsizetype>(text.size()));
}

/**
 * What `text` reads as; "error" when it is refused. It is parsed from memory that ends with its last byte, where the
 * sanitizers see a step too far. A failed parse must leave the value alone.
 */
std::string parsed(std::string_view text)
{
    const std::unique_ptr<char[]> exact(new char[text.size()]);
    text.copy(exact.get(), text.size());
    QVariant value("as it was");
    if (!Json::parse(QByteArray::fromRawData(exact.get(), static_cast<qsizetype>(text.size())), &value))
        return describe(value) == "\"as it was\"" ? "error" : "error that changed the value";
    return describe(value);
}

std::string repeated(std::string_view text, int times)
{
    std::string result;
    for (int i = 0; i < times; ++i)
        result += text;
    return result;
}

std::string nested(std::string_view open, std::string_view inner, std::string_view close, int depth)
{
    return repeated(open, depth).append(inner) + repeated(close, depth);
}

struct Case {
    std::string text;
    std::string tree;
};

const std::vector<Case>& validTexts()
{
    static const std::vector<Case> cases = {
        // Every kind of value, at the top level.
        {"null", "null"},
        {"true", "true"},
        {"false", "false"},
        {"0", "i0"},
        {"-12", "i-12"},
        {"1.5", "d1.5"},
        {"\"\"", "\"\""},
        {"\"text\"", "\"text\""},
        {"[]", "[]"},
        {"{}", "{}"},
        // Containers.
        {"[null,true,false,1,1.5,\"a\",[],{}]", "[null,true,false,i1,d1.5,\"a\",[],{}]"},
        {"[[[[]]]]", "[[[[]]]]"},
        {"[[1],[2,[3]],{\"a\":[4]}]", "[[i1],[i2,[i3]],{\"a\":[i4]}]"},
        {R"({"a":null,"b":true,"c":[1,{"d":{}}]})", R"({"a":null,"b":true,"c":[i1,{"d":{}}]})"},
        {R"({"Item":{"id":{"S":"k"},"n":{"N":"10"},"set":{"SS":["x","y"]}},"Limit":25})",
         R"({"Item":{"id":{"S":"k"},"n":{"N":"10"},"set":{"SS":["x","y"]}},"Limit":i25})"},
        // Names come out in the order of their UTF-16 units, whatever their order in the text.
        {R"({"b":1,"a":2,"B":3,"_":4,"":5,"aa":6,"10":7,"9":8})",
         R"({"":i5,"10":i7,"9":i8,"B":i3,"_":i4,"a":i2,"aa":i6,"b":i1})"},
        {"{\"\xEF\xBF\xBD\":1,\"\xF0\x9F\x98\x80\":2}", "{\"<d83d><de00>\":i2,\"<fffd>\":i1}"},
        // The last of equal names wins, also when they are spelled in different ways or differ in type.
        {R"({"a":1,"a":2})", R"({"a":i2})"},
        {R"({"a":1,"b":0,"\u0061":{"c":3}})", R"({"a":{"c":i3},"b":i0})"},
        {R"({"a":{"x":1},"a":{"y":2},"a":null})", R"({"a":null})"},
        {R"({"":1,"":2})", R"({"":i2})"},
        {R"({"a":1,"A":2})", R"({"A":i2,"a":i1})"},
        // White space is blank, tab, line feed and carriage return, around everything.
        {" null", "null"},
        {"null\n", "null"},
        {" \t\r\n1 \t\r\n", "i1"},
        {" [ 1 , 2 ] ", "[i1,i2]"},
        {"\t{\n\"a\"\r:\n[ ]\t,\r\"b\" : { } } ", R"({"a":[],"b":{}})"},
        {" \"a b\" ", "\"a b\""},
        // Escapes.
        {R"("\"\\\/\b\f\n\r\t")", "\"\"\\/<0008><000c><000a><000d><0009>\""},
        {R"("\u0041\u00e9\u20AC\u20ac")", "\"A<00e9><20ac><20ac>\""},
        {R"("\u0000")", "\"<0000>\""},
        {R"("a\u0000b")", "\"a<0000>b\""},
        {R"("\u001f\u007f\u0080\u07ff\u0800\uffff")", "\"<001f><007f><0080><07ff><0800><ffff>\""},
        {R"("\ud7ff\ue000")", "\"<d7ff><e000>\""},
        {R"("\ud83d\ude00")", "\"<d83d><de00>\""},
        {R"("\uD800\uDC00\uDBFF\uDFFF")", "\"<d800><dc00><dbff><dfff>\""},
        {R"("\\u0041")", "\"\\u0041\""},
        {R"("\\")", "\"\\\""},
        {R"("\\\"")", "\"\\\"\""},
        {R"({"\u0061\n":1})", "{\"a<000a>\":i1}"},
        {R"({"\u0000":1,"":2,"\u0000a":3})", R"({"":i2,"<0000>":i1,"<0000>a":i3})"},
        {R"("/")", "\"/\""},
        {"\"'\"", "\"'\""},
        {"\"[1,{2:3}]//\"", "\"[1,{2:3}]//\""},
        {"\"\x7f\"", "\"<007f>\""},
        // UTF-8 at the edges of its lengths, and characters with a special standing.
        {"\"\xC2\x80\xDF\xBF\"", "\"<0080><07ff>\""},
        {"\"\xE0\xA0\x80\xEF\xBF\xBF\"", "\"<0800><ffff>\""},
        {"\"\xED\x9F\xBF\xEE\x80\x80\"", "\"<d7ff><e000>\""},
        {"\"\xF0\x90\x80\x80\xF4\x8F\xBF\xBF\"", "\"<d800><dc00><dbff><dfff>\""},
        {"\"\xEF\xBF\xBD\"", "\"<fffd>\""},
        {"\"\xEF\xBF\xBE\"", "\"<fffe>\""},
        {"\"\xE2\x80\xA8\xE2\x80\xA9\"", "\"<2028><2029>\""},
        {"\"\xC2\xA0\"", "\"<00a0>\""},
        {"\"e\xCC\x81\"", "\"e<0301>\""}, // not composed
        {"[\"\xC3\xA9\",\"\xE2\x82\xAC\"]", "[\"<00e9>\",\"<20ac>\"]"},
        {"{\"\xC3\xA9\":\"\xF0\x9F\x98\x80\"}", "{\"<00e9>\":\"<d83d><de00>\"}"},
        // A byte order mark inside a string is text, at its start as well, and in every string.
        {"\"\xEF\xBB\xBF\"", "\"<feff>\""},
        {"[\"\xEF\xBB\xBFx\",\"\xEF\xBB\xBFy\",\"\\ufeffz\"]", "[\"<feff>x\",\"<feff>y\",\"<feff>z\"]"},
        {"{\"\xEF\xBB\xBF\":1}", "{\"<feff>\":i1}"},
    };
    return cases;
}

const std::vector<Case>& numbers()
{
    static const std::vector<Case> cases = {
        // Integers of 64 bits come back as they were.
        {"1", "i1"},
        {"-1", "i-1"},
        {"-0", "i0"},
        {"10", "i10"},
        {"2147483647", "i2147483647"},
        {"2147483648", "i2147483648"},
        {"-2147483648", "i-2147483648"},
        {"-2147483649", "i-2147483649"},
        {"4294967295", "i4294967295"},
        {"4294967296", "i4294967296"},
        {"9007199254740993", "i9007199254740993"},
        {"-9007199254740993", "i-9007199254740993"},
        {"999999999999999999", "i999999999999999999"},
        {"9223372036854775806", "i9223372036854775806"},
        {"9223372036854775807", "i9223372036854775807"},
        {"-9223372036854775807", "i-9223372036854775807"},
        {"-9223372036854775808", "i-9223372036854775808"},
        {"9223372036854775808", "u9223372036854775808"},
        {"10000000000000000000", "u10000000000000000000"},
        {"18446744073709551614", "u18446744073709551614"},
        {"18446744073709551615", "u18446744073709551615"},
        // Integers beyond become doubles.
        {"18446744073709551616", describe(18446744073709551616.0)},
        {"-9223372036854775809", describe(-9223372036854775808.0)},
        {"-18446744073709551615", describe(-18446744073709551615.0)},
        {"123456789012345678901234567890", describe(123456789012345678901234567890.0)},
        {"1" + repeated("0", 100), describe(1e100)},
        {"-1" + repeated("0", 308), describe(-1e308)},
        // A fraction or an exponent makes a double.
        {"0.0", "d0"},
        {"-0.0", "d-0"},
        {"0e0", "d0"},
        {"-0e-0", "d-0"},
        {"1.0", "d1"},
        {"1e0", "d1"},
        {"1E2", "d100"},
        {"1e+2", "d100"},
        {"1E-2", describe(0.01)},
        {"1e02", "d100"},
        {"1e-000000000000000000000000000002", describe(0.01)},
        {"0.1", describe(0.1)},
        {"-0.5", "d-0.5"},
        {"1.50", "d1.5"},
        {"3.141592653589793", describe(3.141592653589793)},
        {"0.30000000000000004", describe(0.30000000000000004)},
        {"9007199254740993.0", describe(9007199254740992.0)},
        {"9007199254740993.00000000000000000000000001", describe(9007199254740994.0)},
        {"1." + repeated("0", 1000) + "1", "d1"},
        {"1e22", describe(1e22)},
        {"1e23", describe(1e23)},
        {"8.98846567431158e307", describe(8.98846567431158e307)},
        {"1e308", describe(1e308)},
        {"0.0000001e315", describe(1e308)},
        {"123456789e300", describe(1.23456789e308)},
        {"1.7976931348623157e308", describe(std::numeric_limits<double>::max())},
        {"-1.7976931348623157e308", describe(std::numeric_limits<double>::lowest())},
        {"1.7976931348623158e308", describe(std::numeric_limits<double>::max())},
        {"2.2250738585072014e-308", describe(std::numeric_limits<double>::min())},
        {"2.2250738585072011e-308", describe(2.2250738585072011e-308)},
        {"5e-324", describe(std::numeric_limits<double>::denorm_min())},
        {"2.4703282292062328e-324", describe(std::numeric_limits<double>::denorm_min())},
        // Too small for a double: zero, with its sign.
        {"2.4703282292062327e-324", "d0"},
        {"1e-324", "d0"},
        {"-1e-324", "d-0"},
        {"1e-400", "d0"},
        {"-1e-400", "d-0"},
        {"123456789e-400", "d0"},
        {"0.00001e-322", "d0"},
        {"0e-400", "d0"},
        {"0e308", "d0"},
        {"0e309", "d0"},
        {"-0e309", "d-0"},
        {"0E+999999999999999999999", "d0"},
        {"0.00e999", "d0"},
        {"1" + repeated("0", 400) + "e-390", describe(1e10)},
        {"-123" + repeated("0", 400) + ".5e-402", describe(-1.23)},
        {repeated("9", 320) + "E-320", describe(1.0)},
        {"1e-2147483648", "d0"},
        {"1e-2147483649", "d0"},
        {"1e-9223372036854775809", "d0"},
        {"1e-99999999999999999999999999999999", "d0"},
        {"1E-99999999999999999999999999999999", "d0"},
        {"0." + repeated("0", 400) + "1", "d0"},
        {"-0." + repeated("0", 400) + "1", "d-0"},
        {"0." + repeated("0", 500) + "1e100", "d0"},
        {"0." + repeated("0", 400) + "1e400", describe(0.1)},
        {"1" + repeated("0", 300) + "e-300", "d1"},
        {"1" + repeated("0", 300) + "e-700", "d0"},
    };
    return cases;
}

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

TEST(JsonParse, RefusesControlCharactersWhereverTheyStandInAString)
{
    constexpr std::size_t Length = 50; // beyond any block that a reader may look at at once
    for (char control = 0; control < ' '; ++control)
        for (std::size_t at = 0; at < Length; ++at) {
            std::string letters(Length, 'b');
            letters[at] = control;
            EXPECT_EQ(parsed('"' + letters + '"'), "error") << readable(letters);
            EXPECT_EQ(parsed("{\"" + letters + "\":1}"), "error") << readable(letters);
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
        // Comments and white space of other languages.
        "//x\n1", "1//x", "/**/1", "[1]/**/", "{/**/}", "#x\n1", "\v1", "\f1", "1\v", "[1,\f2]", "\b1",
        "\xC2\xA0"
        "1",
        "1\xC2\xA0",
        "\xE2\x80\xA8"
        "1",
        "\xE3\x80\x80{}",
        // Characters outside of strings.
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

TEST(JsonParse, LooksAtEveryByteOfAString)
{
    // One byte alone that is no UTF-8, at each place of strings of all lengths up to several blocks.
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

TEST(JsonParse, RefusesInvalidUtf8InStringsAndNames)
{
    const std::vector<std::string_view> cases = {
        "\x80", // continuation bytes alone
        "\xBF",
        "\x80\x80\x80",
        "\xC0\x80", // two bytes for what takes one
        "\xC0\xAF",
        "\xC1\xBF",
        "\xE0\x80\x80", // three bytes for what takes fewer
        "\xE0\x80\xAF",
        "\xE0\x9F\xBF",
        "\xF0\x80\x80\x80", // four bytes for what takes fewer
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
        "\xC3", // cut off
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

TEST(JsonParse, RefusesAByteOrderMarkInFront)
{
    EXPECT_EQ(parsed("\xEF\xBB\xBF{}"), "error");
    EXPECT_EQ(parsed("\xEF\xBB\xBF"), "error");
    EXPECT_EQ(parsed("{}\xEF\xBB\xBF"), "error");
    EXPECT_EQ(parsed("\xFF\xFE{\0}\0"sv), "error"); // UTF-16 and its mark
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

TEST(JsonParse, ReadsContainersUpToTheDepthLimit)
{
    constexpr int depth = Json::MaxDepth;
    EXPECT_EQ(parsed(nested("[", "", "]", depth)), nested("[", "", "]", depth));
    EXPECT_EQ(parsed(nested("[", "1", "]", depth)), nested("[", "i1", "]", depth));
    EXPECT_EQ(parsed(nested("{\"a\":", "{}", "}", depth - 1)), nested("{\"a\":", "{}", "}", depth - 1));
    EXPECT_EQ(parsed(nested("[{\"a\":", "null", "}]", depth / 2)), nested("[{\"a\":", "null", "}]", depth / 2));
    // Depth counts, not number.
    EXPECT_EQ(parsed("[" + repeated("[],", 3 * depth) + "{}]"), "[" + repeated("[],", 3 * depth) + "{}]");
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

TEST(JsonParse, ReadsLargeTexts)
{
    // A copy of a container at each insert would make these take minutes.
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

TEST(JsonParse, TellsWhereAndWhyATextIsNoJson)
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

TEST(JsonParse, LeavesTheTextAlone)
{
    // It works in place on a copy of its own, never on an array that others share.
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
        {QVariant::fromValue(std::vector<int>{1}), "null"}, // nothing that JSON could say
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
    // The rest of the pair stands in memory right behind the string, but is not its own.
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
    // A string is text of any characters and does not end there.
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
    // A window into more bytes, with no terminator behind it.
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

TEST(JsonAppend, KeepsWhatStandsInFront)
{
    // Prefixes and texts on both sides of the room that is set aside at first.
    for (const qsizetype prefix : {0, 1, 4, 100, 511, 512, 513, 5000}) {
        for (const qsizetype length : {0, 1, 505, 508, 509, 510, 511, 512, 513, 1024, 100000}) {
            QByteArray out(prefix, 'p');
            Json::append(QString(length, u'x'), &out);
            EXPECT_EQ(out, QByteArray(prefix, 'p') + '"' + QByteArray(length, 'x') + '"') << prefix << ' ' << length;
        }
    }
}

TEST(JsonAppend, WritesNothingBehindTheRoomThatItHas)
{
    // An array that a text just fits into stays where it is. For one byte more it has to grow before it is written
    // to, with room for what comes next: an array that is made longer only behind a text was overrun.
    constexpr qsizetype Room = 1000; // of which the array's growth by one byte alone would make little more
    for (const qsizetype size : {Room - 1, Room, Room + 1, Room + 2}) {
        const QByteArray raw(size, 'x');
        for (const auto& [what, value] : {std::pair("string", QVariant(QString(size - 2, u'x'))),
                                          std::pair("bytes", QVariant(QByteArray(size - 2, 'x'))),
                                          std::pair("raw", QVariant::fromValue(Json::RawText{raw})),
                                          std::pair("digits", QVariant(QVariantList(size / 2 - 1, 1)))}) {
            QByteArray out;
            out.reserve(Room);
            ASSERT_EQ(out.capacity(), Room);
            const char* const place = out.constData();
            Json::append(value, &out);
            EXPECT_EQ(out, Json::serialize(value)) << what << ' ' << size;
            if (out.size() <= Room)
                EXPECT_EQ(out.constData(), place) << what << ' ' << size;
            else
                EXPECT_GT(out.capacity(), out.size() + Room / 4) << what << ' ' << size;
        }
    }
}

TEST(JsonAppend, DoesNotWriteIntoSharedBytes)
{
    QByteArray out("head");
    out.reserve(1000);
    const QByteArray shared = out;
    Json::append(QVariantList{1, 2}, &out);
    Json::append(QVariantMap(), &out);
    EXPECT_EQ(out.toStdString(), "head[1,2]{}");
    EXPECT_EQ(shared.toStdString(), "head");

    QByteArray literal = QByteArrayLiteral("head");
    Json::append(1, &literal);
    EXPECT_EQ(literal.toStdString(), "head1");
    QByteArray window = QByteArray::fromRawData("headroom", 4);
    Json::append(1, &window);
    EXPECT_EQ(window.toStdString(), "head1");
}

TEST(JsonRoundTrip, WhatWasReadIsWrittenAndReadAgain)
{
    for (const std::vector<Case>& cases : {validTexts(), numbers()}) {
        for (const Case& row : cases) {
            QVariant value;
            ASSERT_TRUE(Json::parse(bytes(row.text), &value)) << readable(row.text);
            EXPECT_EQ(parsed(Json::serialize(value).toStdString()), row.tree) << readable(row.text);
        }
    }
}

TEST(JsonRoundTrip, EveryUnicodeCharacterSurvives)
{
    QString all;
    for (char32_t code = 0; code <= 0x10FFFF; ++code) {
        if (!QChar::isSurrogate(code))
            all += QStringView(QChar::fromUcs4(code));
    }
    ASSERT_EQ(all.size(), 0x10000 - 0x800 + 2 * 0x100000);
    const QVariantMap tree{{all, all}, {"whole", QStringList{all, all.right(1000)}}};
    QVariant value;
    ASSERT_TRUE(Json::parse(Json::serialize(tree), &value));
    const QVariantMap back = value.toMap();
    EXPECT_TRUE(back.size() == 2 && back.firstKey() == all && back.first().toString() == all);
    EXPECT_TRUE(back.value("whole").toList() == QVariantList({all, all.right(1000)}));
}

TEST(JsonRoundTrip, DoublesOfAnyBitsSurvive)
{
    std::mt19937_64 random(1);
    QVariantList list;
    while (list.size() < 50000) {
        const auto number = std::bit_cast<double>(random());
        if (std::isfinite(number))
            list.append(number);
    }
    QVariant value;
    ASSERT_TRUE(Json::parse(Json::serialize(list), &value));
    const QVariantList back = value.toList();
    ASSERT_EQ(back.size(), list.size());
    for (qsizetype i = 0; i < list.size(); ++i) {
        ASSERT_EQ(back[i].typeId(), QMetaType::Double);
        ASSERT_EQ(std::bit_cast<quint64>(back[i].toDouble()), std::bit_cast<quint64>(list[i].toDouble())) << i;
    }
}

TEST(JsonRoundTrip, IntegersAroundEveryPowerOfTwoSurvive)
{
    for (int bit = 0; bit < 64; ++bit) {
        for (int offset = -1; offset <= 1; ++offset) {
            const quint64 number = (quint64(1) << bit) + static_cast<quint64>(offset);
            const bool fits = number <= quint64(std::numeric_limits<qlonglong>::max());
            EXPECT_EQ(parsed(Json::serialize(QVariant(number)).toStdString()),
                      (fits ? "i" : "u") + std::to_string(number));
            const auto negative = static_cast<qint64>(~number + 1);
            EXPECT_EQ(parsed(Json::serialize(QVariant(negative)).toStdString()), "i" + std::to_string(negative));
        }
    }
}

/** Trees of the types that a parse gives, of all shapes. */
QVariant randomTree(std::minstd_rand& random, int depth)
{
    const auto below = [&](unsigned limit) { return static_cast<unsigned>(random() >> 8) % limit; };
    const auto text = [&] {
        static const QString alphabet = u"aZ09 \"\\/\n\t\u0001\u00e9\u20ac\ufeff"_s;
        QString string("");
        for (unsigned i = below(12); i > 0; --i)
            string += alphabet[static_cast<qsizetype>(below(static_cast<unsigned>(alphabet.size())))];
        return below(4) == 0 ? string + u"\U0001F600"_s : string;
    };
    switch (below(depth > 0 ? 9 : 7)) {
    case 0:
        return QVariant();
    case 1:
        return below(2) == 0;
    case 2:
        return qlonglong(random()) * qlonglong(random()) * (below(2) == 0 ? 1 : -1);
    case 3:
        return std::numeric_limits<qulonglong>::max() - random();
    case 4:
        return double(random()) / double(below(1000) + 1);
    case 5:
    case 6:
        return text();
    case 7: {
        QVariantList list;
        for (unsigned i = below(6); i > 0; --i)
            list.append(randomTree(random, depth - 1));
        return list;
    }
    default: {
        QVariantMap map;
        for (unsigned i = below(6); i > 0; --i)
            map.insert(text(), randomTree(random, depth - 1));
        return map;
    }
    }
}

TEST(JsonRoundTrip, TreesOfAllShapesSurvive)
{
    std::minstd_rand random(1);
    for (int i = 0; i < 3000; ++i) {
        const QVariant tree = randomTree(random, 6);
        const QByteArray text = Json::serialize(tree);
        ASSERT_EQ(parsed(text.toStdString()), describe(tree)) << text.toStdString();
    }
}

TEST(JsonRoundTrip, TreesAtTheDepthLimitSurvive)
{
    const QByteArray deep = bytes(nested("[{\"a\":", "1.5", "}]", Json::MaxDepth / 2));
    QVariant value;
    ASSERT_TRUE(Json::parse(deep, &value));
    // Replies wrap what was read a few times more.
    for (int i = 0; i < 10; ++i)
        value = QVariantList{value};
    EXPECT_EQ(Json::serialize(value).toStdString(), "[[[[[[[[[[" + deep.toStdString() + "]]]]]]]]]]");
}

/** Strings are read and written in blocks; whatever is special may stand anywhere in one, or behind the last. */
TEST(JsonRoundTrip, SpecialCharactersSurviveAtEveryPlaceOfABlock)
{
    const std::pair<QString, QByteArray> specials[] = {
        {"\"", R"(\")"},
        {"\\", R"(\\)"},
        {"\n", R"(\n)"},
        {QString(QChar(0)), R"(\u0000)"},
        {QString(QChar(0x1f)), R"(\u001F)"},
        {QString(QChar(0x7f)), "\x7f"},
        {QString(QChar(0x80)), "\xc2\x80"},
        {QString(QChar(0xff)), "\xc3\xbf"},
        {QString(QChar(0x100)), "\xc4\x80"},
        {QString(QChar(0x2041)), "\xe2\x81\x81"},
        {QString(QChar(0x8041)), "\xe8\x81\x81"},
        {QString(QChar(0xff41)), "\xef\xbd\x81"},
        {QString::fromUcs4(U"\U0001f600"), "\xf0\x9f\x98\x80"},
    };
    for (const auto& [character, written] : specials) {
        for (int length = 0; length < 50; ++length) {
            for (int place = 0; place <= length; ++place) {
                const QString text = QString(place, 'x') + character + QString(length - place, 'y');
                const QByteArray json = '"' + QByteArray(place, 'x') + written + QByteArray(length - place, 'y') + '"';
                ASSERT_EQ(Json::serialize(text), json) << length << ' ' << place;
                QVariant read;
                ASSERT_TRUE(Json::parse(QByteArray(place, ' ') + json, &read)) << length << ' ' << place;
                ASSERT_EQ(read, QVariant(text)) << length << ' ' << place;
            }
        }
    }
}

TEST(JsonThreads, ReadAndWriteAtOnce)
{
    QVariant tree;
    ASSERT_TRUE(Json::parse(R"({"a":[1,2.5,"x\n",null,{"b":18446744073709551615}],"c":"\u20ac"})", &tree));
    const QByteArray text = Json::serialize(tree);
    std::array<int, 4> good{};
    std::vector<std::thread> threads;
    for (int& count : good) {
        threads.emplace_back([&] {
            for (int i = 0; i < 500; ++i) {
                QVariant back;
                count += Json::parse(text, &back) && back == tree && Json::serialize(tree) == text;
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(good, (std::array{500, 500, 500, 500}));
}

} // namespace
