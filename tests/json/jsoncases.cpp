#include "jsoncases.h"

#include "json/jsonreader.h"

#include <QVariantList>
#include <QVariantMap>

#include <cstdio>
#include <limits>
#include <memory>

namespace JsonCases {

using namespace std::string_literals;

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

} // namespace JsonCases
